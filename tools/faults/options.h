// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Options {
    std::vector<std::string> scenarios;
    std::string program;
    std::string build = "3000";
    size_t sample = 0;
    bool isShort = false;
    size_t every = 1;
    size_t at = 0;
    uint64_t seed = 1;
    size_t jobs = 2;
    bool keep = false;
    bool verbose = false;
    bool list = false;
};

// Scenarios without points of their own.
inline constexpr const char* kFlushes = "flushes";
inline constexpr const char* kSense = "sense";

// Fills in the options, or returns the status to exit with.
std::optional<int> ParseOptions(int argc, char* argv[], Options& options);
