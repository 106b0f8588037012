// The registry of migrations, made from registry.def.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// A line of the registry: the migration runs when the old build lies strictly below the threshold, or always when the
// threshold is 0. A migration returns 0 (or a positive value) for success and a negative value for failure.
struct UpgradeEntry {
    uint32_t threshold;
    uint32_t reserved;  // always 0
    int (*function)();  // null ends the table
};

// How much of its work a migration does.
enum class MigrationState {
    Body,     // all of it
    Partial,  // a part
    Library,  // an operation of the package's libraries does it
    Flag,     // none; its once-only key is set
    Empty     // none
};

// A migration as the programs know it: its line of the registry.
struct Migration {
    int number;        // its place in the registry
    const char* name;  // with its qualification
    uint32_t threshold;
    int (*function)();
    MigrationState state = MigrationState::Body;
    const char* concerns = "";
    const char* leavesOut = nullptr;  // null unless the state is Partial
    const char* flag = nullptr;       // the settings key that means done; null when there is none
};

#define ROWS(count) inline constexpr size_t kMigrationCount = count;
#include "upgrader/registry.def"

// Every migration in the order in which they run, ended by a line without a function.
extern const UpgradeEntry MigrationRegistry[];

// The migration at a place below kMigrationCount.
const Migration& MigrationAt(size_t number);

// "body", "partial", "library", "flag" or "empty".
const char* StateName(MigrationState state);

// Whether the migration works on files that no copy of the databases and settings holds.
bool WorksOnOtherFiles(std::string_view name);
