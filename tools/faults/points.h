// The points of each scenario.
#pragma once

#include "tools/faults/scenarios.h"

namespace points {
#define SCENARIO(name, system, runs, sample, text) std::vector<Point> name(const Bench& bench, uint64_t seed);
#include "tools/faults/scenarios.def"
#undef SCENARIO
}  // namespace points
