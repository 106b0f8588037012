// What the harness takes from the registry of migrations.
#pragma once

#include <string_view>
#include <vector>

struct Migration {
    const char* name;
    int threshold;
    bool isEmpty;                // it does nothing
    const char* keyInEveryCase;  // the settings key that it sets also when it fails; null: none
};

inline const std::vector<Migration>& AllMigrations() {
    static const std::vector<Migration> all = {
#define ROW(threshold, function, state, ...) {#function, threshold, std::string_view(#state) == "Empty", nullptr},
#define ONCE_STAMP(threshold, function, flag, ...) {#function, threshold, false, flag},
#include "upgrader/registry.def"
    };
    return all;
}
