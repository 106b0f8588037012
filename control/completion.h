// Completion for bash.
#pragma once

#include <string>
#include <vector>

struct CommandWords {
    std::string name;
    std::string options;  // "--full --json"
};

// A script that completes the commands of a program, their options and its own.
std::string BashCompletion(const std::string& program, const std::string& options,
                           const std::vector<CommandWords>& commands);
