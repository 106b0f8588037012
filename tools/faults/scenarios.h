// The scenarios: faults of a kind, at many points of a run.
#pragma once

#include <string>
#include <vector>

#include "tools/faults/trial.h"

struct Scenario {
    const char* name;
    const char* text;
    size_t shortSample;  // points that the short form tries; 0: it leaves the scenario out
    Setup (*setup)(const std::string& from);
    Runs (*runs)(const std::string& build);
    std::vector<Point> (*points)(const Baseline& base, uint64_t seed);
    bool waits = false;  // it leaves the processor to others
};

const std::vector<Scenario>& AllScenarios();
