#include "upgrader/registry.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <string>

#include "upgrader/driver.h"

namespace {

// The name of the function in the program: "PatchAxisP3384", "NotiUpgrade::UpgradeCamAudioEvent".
std::string NameOf(int (*function)()) {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(function), &info) || !info.dli_sname)
        return "?";
    const std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, nullptr), std::free);
    std::string name = demangled ? demangled.get() : info.dli_sname;
    const std::string own = "migrations::";
    if (name.starts_with(own))
        name.erase(0, own.size());
    return name.substr(0, name.find('('));
}

TEST(Registry, HoldsTheListedMigrationsInTheirOrder) {
    std::ifstream list(SOURCE_DIR "/tests/data/registry.txt");
    size_t row = 0;
    uint32_t threshold = 0;
    for (std::string name; list >> threshold >> name; ++row) {
        ASSERT_LT(row, kMigrationCount);
        const UpgradeEntry& entry = MigrationRegistry[row];
        EXPECT_EQ(threshold, entry.threshold) << "row " << row;
        EXPECT_EQ(0u, entry.reserved) << "row " << row;
        EXPECT_EQ(name, NameOf(entry.function)) << "row " << row;
    }
    EXPECT_EQ(kMigrationCount, row);
    EXPECT_EQ(nullptr, MigrationRegistry[row].function);
}

// Only an address of its own tells in the log which migration failed.
TEST(Registry, GivesEachMigrationItsOwnAddress) {
    std::set<int (*)()> functions;
    for (const UpgradeEntry* entry = MigrationRegistry; entry->function; ++entry)
        functions.insert(entry->function);
    EXPECT_EQ(kMigrationCount - 2, functions.size()) << "two migrations stand in the table twice";
}

}  // namespace
