// The registry of migrations.
#pragma once

#include <cstddef>
#include <cstdint>

// One row: the migration runs when the old build lies strictly below the threshold, or always when the
// threshold is 0. A migration returns 0 (or a positive value) for success and a negative value for failure.
struct UpgradeEntry {
    uint32_t threshold;
    uint32_t reserved;  // always 0
    int (*function)();  // null ends the table
};

// VG_EXTRA_ROW is the threshold of a row that the fault harness adds, to try a program that has grown.
#ifdef VG_EXTRA_ROW
inline constexpr size_t kMigrationCount = 287;
#else
inline constexpr size_t kMigrationCount = 286;
#endif

// Every migration in the order in which they run, ended by a row without a function.
extern const UpgradeEntry MigrationRegistry[kMigrationCount + 1];
