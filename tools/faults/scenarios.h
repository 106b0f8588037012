// The faults that are tried, each at many points of an upgrade:
//
//   crash     the process is killed before a call, or in the middle of a write, or a second time in the
//             upgrade after
//   powercut  the disk forgets what was not flushed (disk.h)
//   full      no space from a call on
//   io        input/output errors
//
// After each the upgrade is run again with the same argument, without faults, and must end as one that was
// never interrupted: the same exit status, files, settings and rows.
//
// A run that meets a full or failing disk must end by itself with 0 or 255, and its log must be true: a
// failed migration is logged if and only if the status is 255, and a tree that lacks something has a message
// that the upgrade without faults has not.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/faults/bench.h"

struct Point {
    std::string fault;  // VGFAULT_MODE, or "powercut"
    size_t at = 0;      // the call, from 1; of a power cut: the last one that was made
    uint64_t seed = 0;
    size_t thenAt = 0;  // kill the upgrade after, too
};

// Every point of the scenario; empty for a name that is none.
std::vector<Point> PointsOf(const std::string& scenario, const std::vector<TracedCall>& calls, uint64_t seed);

struct Outcome {
    std::string what;                   // the point for people
    std::vector<std::string> problems;  // empty: as it should be
};

// Tries one point on a stand that is clear, and leaves the tree.
Outcome Try(const Bench& bench, const Stand& stand, const Point& point);
