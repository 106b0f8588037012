#include "upgrader/registry.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::string FileText(const std::string& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

std::string Printed(const std::string& arguments) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(
        popen((MIGRATIONS_PAGE_PROGRAM + arguments).c_str(), "r"), pclose);
    std::string text;
    for (int c = 0; pipe && (c = std::fgetc(pipe.get())) != EOF;)
        text += static_cast<char>(c);
    return text;
}

// With every run of white space as one blank, so that where lines break does not matter.
std::string Words(const std::string& text) {
    std::istringstream in(text);
    std::string words;
    for (std::string word; in >> word;)
        words += word + " ";
    return words;
}

std::string Where(size_t row) { return "row " + std::to_string(row) + ", " + MigrationAt(row).name; }

TEST(Registry, RisesAndEndsWithTheRowsThatAlwaysRun) {
    const std::vector<std::string> always = {"UpdateDefPrivProfile", "ReCreateNonePrivProfile",
                                             "UpdatePrivAdvOper", "OrvacamStartUpAutoUpgrade", "NoOperation"};
    const size_t firstAlways = kMigrationCount - always.size();
    std::set<std::string> falls;
    uint32_t last = 0;
    for (size_t row = 0; row < kMigrationCount; ++row) {
        const uint32_t threshold = MigrationRegistry[row].threshold;
        EXPECT_EQ(0u, MigrationRegistry[row].reserved) << Where(row);
        EXPECT_EQ(row >= firstAlways, threshold == 0) << Where(row);
        if (row >= firstAlways)
            EXPECT_EQ(always[row - firstAlways], MigrationAt(row).name);
        else if (threshold < last)
            falls.insert(MigrationAt(row).name);
        else
            last = threshold;
    }
    EXPECT_EQ(std::set<std::string>{"UpdatePrivProfileAndPrivPerCam"}, falls);
    EXPECT_EQ(nullptr, MigrationRegistry[kMigrationCount].function);
}

// Only an address of its own tells in the log which migration failed.
TEST(Registry, GivesEachMigrationItsOwnAddressAndNamesTwoTwice) {
    std::map<std::string, std::vector<uint32_t>> thresholds;
    std::map<int (*)(), std::string> names;
    for (size_t row = 0; row < kMigrationCount; ++row) {
        const auto& [threshold, reserved, function] = MigrationRegistry[row];
        ASSERT_NE(nullptr, function) << Where(row);
        thresholds[MigrationAt(row).name].push_back(threshold);
        EXPECT_EQ(MigrationAt(row).name, names.try_emplace(function, MigrationAt(row).name).first->second)
            << Where(row);
    }
    EXPECT_EQ(thresholds.size(), names.size());
    std::erase_if(thresholds, [](const auto& entry) { return entry.second.size() == 1; });
    const std::map<std::string, std::vector<uint32_t>> twice = {
        {"CorrectAllObjPrivAdvOper", {6335, 6595}}, {"UpdatePrivProfileAndPrivPerCam", {3236, 3236}}};
    EXPECT_EQ(twice, thresholds);
}

// A text with a bar would break the table of the page.
TEST(Registry, SaysOfEachRowWhatItConcernsAndOfAPartWhatIsLeftOut) {
    for (size_t row = 0; row < kMigrationCount; ++row) {
        const Migration& info = MigrationAt(row);
        EXPECT_NE("", std::string(info.concerns)) << Where(row);
        EXPECT_EQ(std::string::npos,
                  (std::string(info.concerns) + (info.leavesOut ? info.leavesOut : "")).find('|'))
            << Where(row);
        EXPECT_EQ(info.state == MigrationState::Partial, info.leavesOut != nullptr) << Where(row);
        EXPECT_TRUE(info.state != MigrationState::Flag || info.flag) << Where(row);
    }
}

TEST(Registry, IsWhatTheDocumentationSays) {
    EXPECT_EQ(FileText(SOURCE_DIR "/docs/migrations.md"), Printed("")) << "run scripts/list-migrations";
    const std::string sentence = Words(Printed(" --sentence"));
    EXPECT_NE(std::string::npos, Words(FileText(SOURCE_DIR "/README.md")).find(sentence))
        << "README.md does not say: " << sentence;
}

}  // namespace
