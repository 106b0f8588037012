// One point is tried.
#pragma once

#include "tools/faults/scenarios.h"

struct Trial {
    std::string what;                   // the point for people
    std::vector<std::string> problems;  // empty: as it should be
};

// Tries the point on a stand that is clear, and leaves the tree.
Trial Try(const Bench& bench, const Stand& stand, const Point& point);
