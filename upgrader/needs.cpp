#include "upgrader/needs.h"

#include <algorithm>
#include <utility>

#include "upgrader/registry.h"

namespace {

// A migration takes no arguments, so what its check asks stands here.
std::set<int> g_failed;
int g_called = 0;

}  // namespace

void Needs::Begin(std::set<int> failed) {
    g_failed = std::move(failed);
    g_called = 0;
}

void Needs::Calling(int number) { g_called = number; }

void Needs::Ended(bool failed) {
    if (failed)
        g_failed.insert(g_called);
    else
        g_failed.erase(g_called);
}

bool Needs::AreMet(std::initializer_list<int (*)()> needed, LogSite site) {
    for (const int number : g_failed) {
        if (number >= g_called)
            break;
        const Migration& migration = MigrationAt(static_cast<size_t>(number));
        if (std::find(needed.begin(), needed.end(), migration.function) == needed.end())
            continue;
        LogMessage(site, "Not run: [%d] %s has failed.\n", migration.number, migration.name);
        return false;
    }
    return true;
}
