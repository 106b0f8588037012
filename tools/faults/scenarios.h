// The faults that are tried, each at many points of a run.
//
// After each the second run is done, once, without faults, and must end as one that was never interrupted:
// the same exit status, files, settings and rows. A run that ends by itself in spite of the fault must have
// told the truth. What commands on snapshots have to leave is told in snapshot_check.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/faults/bench.h"
#include "tools/faults/hold.h"

// Somebody else uses a database, by its path below the tree.
struct HoldPlan {
    std::string database;
    Hold::Kind kind;
    double seconds = 0;  // of the program's time; 0: until the run has ended
};

inline constexpr size_t kPageSize = 4096;  // of the sample databases

// A page is overwritten before the run.
struct Damage {
    std::string database;
    size_t page = 0;
};

struct Point {
    Fault fault{};                   // in the first run; mode "powercut": what the disk kept of it
    std::string call{};              // the text of the call at which it strikes, as traced; empty: none
    uint64_t seed = 0;               // of a power cut; 0: all is lost that was not flushed
    size_t thenKill = 0;             // kill the run after, too, at this call
    std::optional<HoldPlan> hold{};  // from the call on at which the run stops, or from the beginning
    std::optional<Damage> damage{};
    bool isAlwaysTried = false;  // also where points are picked at random
    bool isUnnoticed = false;    // the first run ends as the uninterrupted one, and is the last
};

struct Scenario {
    std::string name;
    std::string text;
    size_t shortSample;
    System (*system)(const std::string& build);
    Runs (*runs)(const Programs& programs, const std::string& build);
    std::vector<Point> (*points)(const Bench& bench, uint64_t seed);
};

const std::vector<Scenario>& AllScenarios();
