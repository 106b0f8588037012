// What an interrupted upgrade has left, found by the real program, perhaps of another build.
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "platform/base/paths.h"
#include "tests/support/system_tree.h"
#include "upgrader/record.h"

namespace {

class InterruptedUpgrade : public SystemTree {
protected:
    InterruptedUpgrade() {
        CreateNewSystem();
        Sql(DB_SYSTEM, Record::MakeSql(false));
    }
    static std::string Schedules() { return Rows(DB_SYSTEM, "SELECT event_type FROM notificationschedule"); }
};

// The repair had made the column before the row that asks for it ran; the next repair finds nothing missing.
TEST_F(InterruptedUpgrade, KnowsWhatWasMissingBeforeTheFirstRepair) {
    Record::MissingReport missing;
    missing[DB_SYSTEM]["notificationfilter"] = {"rec_storage_removed"};
    Sql(DB_SYSTEM, Record::BeginSql(2300, missing));
    EXPECT_EQ(0, RunUpgrader("9760")) << Log();
    EXPECT_EQ(
        1,
        CountInLog(
            "(NotiFilterAddRecStorageColumn): DB[0], Detect notificationfilter missing rec_storage_removed"));
    EXPECT_EQ(1, CountInLog("Upgrade from build 2300: "));
    EXPECT_NE(std::string::npos, Schedules().find("33\n34\n"));
}

// And one that the repair has still to make is missing too.
TEST_F(InterruptedUpgrade, RepairsOnlyAfterItHasReadWhatWasNoted) {
    Sql(DB_SYSTEM,
        "ALTER TABLE notificationfilter DROP COLUMN rec_storage_removed;" + Record::BeginSql(2300, {}));
    EXPECT_EQ(0, RunUpgrader("9760")) << Log();
    EXPECT_NE(std::string::npos, Schedules().find("33\n34\n"));
    EXPECT_EQ(0, RunUpgrader("9760"));
    EXPECT_EQ(1, CountInLog("Detect notificationfilter missing")) << "it is over";
}

// Migrations that this build does not have, or has under another threshold, say nothing about those that it has.
TEST_F(InterruptedUpgrade, OfAnotherRegistryRunsWhatThisOneHas) {
    Sql(DB_SYSTEM, "INSERT INTO camera(id, vendor, model) VALUES(1, 'AXIS', 'P3384');" +
                       Record::BeginSql(2300, {}) +
                       Record::DoneSql({{"GoneRow", 2500}, {"PatchAxisP3384", 1}}) +
                       Record::FailedSql({"GoneRow", 2500}));
    EXPECT_EQ(0, RunUpgrader("9760")) << Log();
    EXPECT_EQ("P3384-V\n", Rows(DB_SYSTEM, "SELECT model FROM camera"));
    EXPECT_EQ(1, CountInLog("Failed once, and is not among the migrations any more: GoneRow."));
    EXPECT_EQ("", Rows(DB_SYSTEM, "SELECT 1 FROM sqlite_schema WHERE name = 'vgupgrader_record'"));
}

// No record, no change: the build is kept beside the settings, and the next upgrade begins there.
TEST_F(InterruptedUpgrade, ThatCouldNotBeNotedHasChangedNothingAndIsMarked) {
    Sql(DB_SYSTEM,
        "DROP TABLE vgupgrader_record; INSERT INTO camera(id, vendor, model) VALUES(1, 'AXIS', 'P3384');"
        "CREATE VIEW vgupgrader_record AS SELECT 1;");
    WriteSettings("vg_upgrader_version=\"8.0.0-2300\"\n");
    const std::string before = ReadFile(VGDB::GetDBPath(DB_SYSTEM));
    const std::string marker = Path(kUpgradeDue);
    EXPECT_EQ(255, RunUpgrader("2300"));
    EXPECT_EQ("2300\n", ReadFile(marker));
    EXPECT_EQ(255, RunUpgrader("4000"));
    EXPECT_EQ("2300\n", ReadFile(marker)) << "the older one";
    EXPECT_EQ(before, ReadFile(VGDB::GetDBPath(DB_SYSTEM)));
    EXPECT_EQ("vg_upgrader_version=\"8.0.0-2300\"\n", Settings());
    EXPECT_TRUE(
        Log().ends_with("(main): Nothing was changed: " + VGDB::GetDBPath(DB_SYSTEM) +
                        ": use DROP VIEW to delete view vgupgrader_record. Run again: vgupgrader 2300\n"))
        << Log();

    Sql(DB_SYSTEM, "DROP VIEW vgupgrader_record");
    chmod(marker.c_str(), 0644);
    EXPECT_EQ(255, RunUpgrader("9760")) << "not our file";
    EXPECT_EQ("P3384\n", Rows(DB_SYSTEM, "SELECT model FROM camera"));
    chmod(marker.c_str(), 0600);
    EXPECT_EQ(0, RunUpgrader("9760")) << Log();
    EXPECT_EQ("P3384-V\n", Rows(DB_SYSTEM, "SELECT model FROM camera"));
    EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(InterruptedUpgrade, HasNoPlaceForItsEntriesWhereTheNoteMakesNoSense) {
    for (const char* const place : {"-5", "0", "17 or so", ""}) {
        Sql(DB_SYSTEM, std::string("DELETE FROM vgupgrader_record;"
                                   "INSERT INTO vgupgrader_record(fact, name, value) VALUES('place', '', '") +
                           place + "')");
        Record::Facts facts;
        ASSERT_EQ(0, Record::Read(facts));
        EXPECT_EQ(0, facts.place) << place;
        EXPECT_EQ(1u, facts.nonsense.size()) << place;
    }
}

}  // namespace
