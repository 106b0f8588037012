// The once-only rows whose work is not settled: they set their key.
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"
#include "upgrader/registry.h"

namespace fs = std::filesystem;

namespace {

// The failure of most names the key.
std::string Failed(const std::string& what) { return "Failed to set " + what + " in setting conf.\n"; }

std::string FailureOf(const MigrationInfo& info) {
    static const std::map<std::string, std::string> others = {
        {"UpdatePairedSpeakerType", Failed("Update Camera paired speaker type")},
        {"UpdateEdgeStorageSetting", Failed("Update Edge Storage Setting")},
        {"ChownCamReclog", Failed("Update Manager value")},
        {"UpdateRecAlertEventType", Failed("Update rec event type")},
        {"UpdatePrivPerCam", Failed("Update Manager value")},
        {"SyncHosNotifyOnce", "Failed to set key to settings.conf\n"},
    };
    const auto other = others.find(info.name);
    return other != others.end() ? other->second : Failed(info.flag);
}

template <class Check>
void ForEachFlagRow(Check check) {
    for (size_t row = 0; row < kMigrationCount; ++row)
        if (const MigrationInfo& info = InfoOfRow(row); info.state == MigrationState::Flag)
            check(info, MigrationRegistry[row].function);
}

class OnceOnlyFlags : public SystemTree {};

TEST_F(OnceOnlyFlags, AreSetOnceAndChangeNothingElse) {
    ForEachFlagRow([](const MigrationInfo& info, int (*function)()) {
        const std::string key = info.flag;
        WriteSettings("x=\"1\"\n");
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(0, function()) << info.name;
            EXPECT_EQ("x=\"1\"\n" + key + "=\"true\"\n", Settings()) << info.name;
        }
        WriteSettings(key + "=\"false\"\n");
        EXPECT_EQ(0, function()) << info.name;
        EXPECT_EQ(key + "=\"false\"\n", Settings()) << info.name << ": its presence counts, not its value";
    });
    EXPECT_EQ("", Log());
}

TEST_F(OnceOnlyFlags, ThatCannotBeWrittenFailTheRowUnderItsName) {
    fs::create_directories(Path("/var/packages/Vigilo/etc/settings.conf"));
    ForEachFlagRow([](const MigrationInfo& info, int (*function)()) {
        EXPECT_EQ(-1, function()) << info.name;
        EXPECT_EQ(1, CountInLog("(" + std::string(info.name) + "): " + FailureOf(info))) << info.name;
    });
}

TEST_F(OnceOnlyFlags, TheNoticeOnAnalyticsTasksIsForThoseWhoHaveSome) {
    constexpr const char* kNotice = "show_dva_no_idle_name_change_info=\"true\"\n";
    EXPECT_EQ(0, migrations::ShowDvaTaskChangeInfo());
    Sql(DB_SYSTEM, "CREATE TABLE camera(id INTEGER);");
    EXPECT_EQ(0, migrations::ShowDvaTaskChangeInfo()) << "no table";
    Sql(DB_SYSTEM, "CREATE TABLE iva_setting(id INTEGER PRIMARY KEY);");
    EXPECT_EQ(0, migrations::ShowDvaTaskChangeInfo()) << "no task";
    EXPECT_EQ("", Settings());

    Sql(DB_SYSTEM, "INSERT INTO iva_setting VALUES(7);");
    EXPECT_EQ(0, migrations::ShowDvaTaskChangeInfo());
    EXPECT_EQ(kNotice, Settings());
    EXPECT_EQ(0, migrations::ShowDvaTaskChangeInfo());
    EXPECT_EQ(kNotice, Settings());

    fs::remove(Path("/var/packages/Vigilo/etc/settings.conf"));
    fs::create_directories(Path("/var/packages/Vigilo/etc/settings.conf"));
    EXPECT_EQ(-1, migrations::ShowDvaTaskChangeInfo());
    EXPECT_EQ(1, CountInLog("(ShowDvaTaskChangeInfo): " + Failed("show_dva_no_idle_name_change_info")));
}

}  // namespace
