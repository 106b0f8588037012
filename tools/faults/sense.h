// Shows that the scenarios notice what they are there for.
#pragma once

#include "tools/faults/campaign.h"

// Tries programs that have a fault each, made of the real one and a few commands around it; returns whether
// each was noticed, and prints those that were not.
Tally RunSense(const Options& options, const std::filesystem::path& folder);
