#include "upgrader/registry.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "platform/package/counts.h"
#include "platform/package/interfaces.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/migrations.h"
#include "upgrader/migrations/noti_upgrade.h"
#include "upgrader/needs.h"
#include "upgrader/once.h"

// A row above the package's own build would run again at every upgrade from this build.
#define ROW(threshold, function, ...) \
    static_assert(threshold <= VG_PACKAGE_BUILD, #function ": a later build than the package's own");
#include "upgrader/registry.def"

namespace migrations {
namespace {

int NothingMore() { return 0; }

}  // namespace

// Functions of their own, not one for all: the driver's failure line tells a migration by its address.
#define EMPTY(threshold, function, concerns) \
    int function() { return 0; }
#include "upgrader/registry.def"

#define ONCE(threshold, function, flag, message, concerns) \
    int function() { return RunOnce(flag, message, once::function); }
#define ONCE_STAMP(threshold, function, flag, resultWhenUnreadable, concerns) \
    int function() { return RunOnceAfterStamp(flag, resultWhenUnreadable, once::function); }
#define FLAG(threshold, function, flag, message, concerns) \
    int function() { return RunOnce(flag, message, NothingMore); }
#define FLAG_AROUND(threshold, function, work, flag, message, concerns) \
    int function() { return RunOnce(flag, message, work); }
#include "upgrader/registry.def"

namespace {

// A migration that asks for the previous run has nothing to do where there was none, whatever else has failed. Left to
// a run after this one, it would take this one for it.
bool HasNothingToDo(MigrationFunction function) {
    constexpr MigrationFunction kAskForPreviousRun[] = {
#define ONCE_STAMP(threshold, function, ...) function,
#include "upgrader/registry.def"
    };
    return std::find(std::begin(kAskForPreviousRun), std::end(kAskForPreviousRun), function) !=
               std::end(kAskForPreviousRun) &&
           FindPreviousRun() == 0;
}

}  // namespace

// The same migrations behind the check of what they need.
namespace checked {

#define NEEDS(function, ...) int function();
#include "upgrader/registry.def"
#define NEEDS(function, ...)                                                                                 \
    int function() {                                                                                         \
        return HasNothingToDo(migrations::function) || Needs::AreMet({__VA_ARGS__}) ? migrations::function() \
                                                                                    : -1;                    \
    }
#include "upgrader/registry.def"

}  // namespace checked

namespace {

constexpr MigrationFunction Checked(MigrationFunction function) {
    constexpr struct {
        MigrationFunction body;
        MigrationFunction checked;
    } kChecked[] = {
#define NEEDS(function, ...) {function, checked::function},
#include "upgrader/registry.def"
    };
    for (const auto& one : kChecked)
        if (one.body == function)
            return one.checked;
    return function;
}

}  // namespace
}  // namespace migrations

using namespace migrations;

const UpgradeEntry MigrationRegistry[] = {
#define ROW(threshold, function, ...) {threshold, 0, Checked(function)},
#include "upgrader/registry.def"
    {0, 0, nullptr},
};

static_assert(std::size(MigrationRegistry) == kMigrationCount + 1, "ROWS counts the rows above it");

const Migration& MigrationAt(size_t number) {
    static const auto kAll = [] {
        std::array<Migration, kMigrationCount + 1> all{{
#define ROW(threshold, function, state, concerns, leavesOut, flag) \
    {0, #function, threshold, Checked(function), MigrationState::state, concerns, leavesOut, flag},
#include "upgrader/registry.def"
        }};
        for (size_t i = 0; i < kMigrationCount; ++i)
            all[i].number = static_cast<int>(i);
        return all;
    }();
    return kAll[number];
}

const char* StateName(MigrationState state) {
    static constexpr const char* kNames[] = {"body", "partial", "library", "flag", "empty"};
    return kNames[static_cast<size_t>(state)];
}

bool WorksOnOtherFiles(std::string_view name) {
    static constexpr std::string_view kNames[] = {
#define FILES(function) #function,
#include "upgrader/registry.def"
    };
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}
