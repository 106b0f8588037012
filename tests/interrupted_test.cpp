// What an interrupted upgrade has left, found by the real program, perhaps of another build.
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/record.h"

namespace {

class InterruptedUpgrade : public SystemTree {
protected:
    InterruptedUpgrade() {
        CreateNewSystem();
        Sql(DB_SYSTEM, Record::MakeSql(false));
    }
    static std::string Note() {
        return Rows(DB_SYSTEM, std::string("SELECT fact, name FROM ") + Record::kTable);
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

// Rows that this build does not have, or has under another threshold, say nothing about those that it has.
TEST_F(InterruptedUpgrade, OfAnotherRegistryRunsWhatThisOneHas) {
    Sql(DB_SYSTEM, "INSERT INTO camera(id, vendor, model) VALUES(1, 'AXIS', 'P3384');" +
                       Record::BeginSql(2300, {}) +
                       Record::DoneSql({{"GoneRow", 2500}, {"PatchAxisP3384", 1}}) +
                       Record::FailedSql({"GoneRow", 2500}));
    EXPECT_EQ(0, RunUpgrader("9760")) << Log();
    EXPECT_EQ("P3384-V\n", Rows(DB_SYSTEM, "SELECT model FROM camera"));
    EXPECT_EQ("failed|GoneRow\n", Note());
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
