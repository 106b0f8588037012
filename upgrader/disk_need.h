// The room that an upgrade needs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "upgrader/plan.h"

// Room on one file system, in bytes.
struct DiskNeed {
    std::string fileSystem;  // a file of the package on it, or the folder of temporary files
    uint64_t needed = 0;     // at the peak of the upgrade
    uint64_t free = 0;
};

// What the plan needs, a file system each; nothing where only the checks of every upgrade are due.
std::vector<DiskNeed> FindDiskNeeds(const Plan& plan);
