// Whether the upgrade has room.
#pragma once

#include <cstdint>

#include "upgrader/log.h"
#include "upgrader/registry.h"

// What the rows of the table that the old build calls for can need on a file system at their peak, in bytes,
// when the largest database on it has the given size: a journal of that size and as much for the database to
// grow. Nothing when only the checks of every upgrade are due.
uint64_t PeakNeed(const UpgradeEntry* table, uint32_t oldBuild, uint64_t largestDatabase);

// Logs, for each file system that holds databases, how much is missing; the upgrade goes on all the same,
// since what does not fit fails as a whole and harms nothing.
void CheckDiskSpace(const UpgradeEntry* table, uint32_t oldBuild, LogSite site = LogSite::Here());
