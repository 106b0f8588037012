// The once-only rows: the key that means done, when it is set, and what is logged when it cannot be.
#include <filesystem>
#include <string>

#include "platform/base/paths.h"
#include "tests/support/system_tree.h"
#include "upgrader/once.h"
#include "upgrader/registry.h"

namespace fs = std::filesystem;

namespace {

// Those of the registry that have a key, but for one that sets it whatever becomes of its work.
std::vector<Migration> OnceRows() {
    std::vector<Migration> rows;
    for (size_t row = 0; row < kMigrationCount; ++row)
        if (MigrationAt(row).flag)
            rows.push_back(MigrationAt(row));
    EXPECT_EQ(25u, rows.size());
    return rows;
}

bool DoesNothing(const Migration& row) { return row.state == MigrationState::Flag; }

// Their key is set also when the work has failed; the work runs where the upgrader ran before.
bool IsTriedOnce(const Migration& row) {
    return row.flag == std::string("upgrade_notification_people_vehicle") ||
           row.flag == std::string("upgrade_notify_md_webhook_disable");
}

class OnceOnlyRows : public SystemTree {
protected:
    static constexpr const char* kStamp = "vg_upgrader_version=\"9.1.0-9000\"\n";

    static std::string Line(const Migration& row, const char* value) {
        return std::string(row.flag) + "=\"" + value + "\"\n";
    }
    static bool IsSet(const Migration& row) {
        return Settings().find(Line(row, "true")) != std::string::npos;
    }
    static void DamageMainDatabase() { WriteFile(VGDB::GetDBPath(DB_SYSTEM), std::string(4096, 'x')); }
};

TEST_F(OnceOnlyRows, SetTheirKeyWhenTheirWorkIsDone) {
    CreateNewSystem();
    for (const Migration& row : OnceRows()) {
        WriteSettings(kStamp);
        EXPECT_EQ(0, row.function()) << row.name;
        EXPECT_TRUE(IsSet(row)) << row.name;
    }
    EXPECT_EQ("", Log());
}

TEST_F(OnceOnlyRows, DoNothingOnceTheirKeyIsThere) {
    DamageMainDatabase();
    for (const Migration& row : OnceRows()) {
        // The presence counts, not the value; but a row that is only tried writes it each time.
        const std::string settings = kStamp + Line(row, IsTriedOnce(row) ? "true" : "false");
        WriteSettings(settings);
        EXPECT_EQ(0, row.function()) << row.name;
        EXPECT_TRUE(Settings().starts_with(settings)) << row.name << Settings();
    }
    EXPECT_EQ("", Log());
}

TEST_F(OnceOnlyRows, WhoseWorkFailsTryItAgainUnlessItIsTriedOnlyOnce) {
    DamageMainDatabase();
    for (const Migration& row : OnceRows()) {
        WriteSettings(kStamp);
        EXPECT_EQ(DoesNothing(row) ? 0 : -1, row.function()) << row.name;
        EXPECT_EQ(DoesNothing(row) || IsTriedOnce(row), IsSet(row)) << row.name;
    }
}

TEST_F(OnceOnlyRows, WhoseKeyCannotBeWrittenFailUnderTheirName) {
    CreateNewSystem();
    fs::remove_all(fs::path(Path(kSettingsConf)).parent_path());
    for (const Migration& row : OnceRows()) {
        EXPECT_EQ(-1, row.function()) << row.name;
        EXPECT_EQ(1, CountInLog(std::string("(") + row.name + "): Failed to set ")) << row.name;
    }
}

TEST_F(OnceOnlyRows, CountAPositiveResultAsSuccess) {
    WriteSettings(kStamp);
    const MigrationFunction work = [] { return 3; };
    EXPECT_EQ(0, RunOnce("a", "%s", work));
    EXPECT_EQ(0, RunOnceAfterStamp("b", -1, work));
    EXPECT_EQ(std::string(kStamp) + "a=\"true\"\nb=\"true\"\n", Settings());
}

}  // namespace
