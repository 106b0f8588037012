#include <string>

#include "platform/base/strings.h"
#include "platform/package/notification/group_schedule.h"
#include "platform/package/notification/system_schedule.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"
#include "upgrader/missing_schema.h"

namespace {

constexpr VG_NOTIFY_TYPE Type(int number) { return static_cast<VG_NOTIFY_TYPE>(number); }

std::string Week(char state) { return std::string(336, state); }

// A group string whose first words are given; the others are 0.
std::string GroupString(std::vector<std::string> words) {
    words.resize(336, "00000000");
    return JoinStrings(words, ",");
}

class SystemSchedule : public SystemTree {
protected:
    SystemSchedule() {
        Sql(DB_SYSTEM, "CREATE TABLE notificationschedule(event_type INTEGER PRIMARY KEY, schedule TEXT);");
    }

    static void Store(const std::string& type, const std::string& schedule) {
        Sql(DB_SYSTEM, "INSERT INTO notificationschedule VALUES(" + type + ", " + schedule + ");");
    }
    static std::string Stored() { return Rows(DB_SYSTEM, "SELECT * FROM notificationschedule"); }
};

TEST(NotifyScheduleString, IsTakenOverWholeOrNotAtAll) {
    NotifySchedule schedule;
    ASSERT_EQ(0, schedule.LoadScheduleFromString(GroupString({"1", "abcdef01"}),
                                                 [](uint32_t slot) { return slot << 1; }));
    const std::string loaded = GroupString({"00000002", "579BDE02"});
    EXPECT_EQ(loaded, schedule.GetStringFromSchedule());

    for (const std::string& text :
         {std::string(), std::string("1"), GroupString({}) + ",", GroupString({}) + ",00000000",
          GroupString({""}), GroupString({" 1"}), GroupString({"-1"}), GroupString({"0x1"}),
          GroupString({"000000001"}), GroupString({"1'"}), std::string(1 << 16, ',')}) {
        EXPECT_EQ(-1, schedule.LoadScheduleFromString(text, [](uint32_t slot) { return slot; }));
        EXPECT_EQ(loaded, schedule.GetStringFromSchedule());
    }
}

// The system group's first 32 types are 0 to 32 without 5 (a camera's type); 33 has no bit.
TEST_F(SystemSchedule, GroupStringHoldsTheFirst32TypesAndLeavesTheOthersAlone) {
    for (const char* type : {"0", "5", "6", "32", "33"})
        Store(type, "'1" + Week('0').substr(1) + "'");
    VGGeneric::NotifySche schedule;
    ASSERT_EQ(0, schedule.Reload(false));
    EXPECT_EQ(GroupString({"80000021"}), schedule.GetNotifyScheduleStrByGroup(1));
    EXPECT_EQ(GroupString({"00000001"}), schedule.GetNotifyScheduleStrByGroup(2));
    EXPECT_EQ(GroupString({}), schedule.GetNotifyScheduleStrByGroup(4)) << "no such group";

    EXPECT_EQ(-1, schedule.SetNotifyScheduleByGroup(1, "00000000"));
    ASSERT_EQ(0, schedule.SetNotifyScheduleByGroup(1, GroupString({"00000001", "80000000"})));
    ASSERT_EQ(0, schedule.Save());
    const std::string first = "1" + Week('0').substr(1);
    const std::string second = "01" + Week('0').substr(2);
    EXPECT_EQ("0|" + first + "\n5|" + first + "\n6|" + Week('0') + "\n32|" + second + "\n33|" + first + "\n",
              Stored());
}

TEST_F(SystemSchedule, SlotsStandInTheOrderOfTheWeek) {
    VGGeneric::NotifySche schedule;
    ASSERT_EQ(0, schedule.Reload(false));
    schedule.SetNotifySchedule(0, 1, Type(7), true);
    schedule.SetNotifySchedule(1, 0, Type(7), true);
    schedule.SetNotifySchedule(6, 47, Type(7), true);
    for (const auto& [day, slot, type] :
         {std::array{-1, 0, 8}, {7, 0, 8}, {0, -1, 8}, {0, 48, 8}, {0, 0, -1}, {0, 0, 122}})
        schedule.SetNotifySchedule(day, slot, Type(type), true);
    ASSERT_EQ(0, schedule.Save());
    std::string week = Week('0');
    week[1] = week[48] = week[335] = '1';
    EXPECT_EQ("7|" + week + "\n", Stored());
}

TEST_F(SystemSchedule, ExtendingLosesNothingAndTouchesNoRow) {
    Store("3", "NULL");
    Store("4", "'1x1'");
    Store("6", "'" + Week('1') + "1111'");
    Store("100", "'" + Week('1') + "'");
    Store("400", "'unknown'");
    const std::string before = Stored();
    EXPECT_EQ(0, migrations::UpdateSystemNotifySchedule());
    EXPECT_EQ(before, Stored());
    EXPECT_EQ("upgrade_home_mode_noti_schedule=\"true\"\nupgrade_extend_system_noti_schedule=\"true\"\n",
              Settings());
    EXPECT_EQ("", Log());
}

TEST_F(SystemSchedule, HomeModeTypesAreSwitchedOn) {
    Store("59", "'damaged'");
    Store("61", "'0'");
    EXPECT_EQ(0, migrations::UpdateNotifyScheduleForHomeModeRelated());
    EXPECT_EQ("59|" + Week('1') + "\n60|" + Week('1') + "\n61|0\n", Stored());
}

TEST_F(SystemSchedule, StorageTypesAreSwitchedOnWhereTheirColumnIsNew) {
    g_missingSchema.assign(DB_INSTANCE_COUNT, {});
    EXPECT_EQ(0, migrations::NotiFilterAddRecStorageColumn());
    EXPECT_EQ("", Stored());
    EXPECT_EQ("", Log());

    g_missingSchema[DB_SYSTEM]["notificationfilter"] = {"rec_storage_removed"};
    EXPECT_EQ(0, migrations::NotiFilterAddRecStorageColumn());
    EXPECT_EQ("33|" + Week('1') + "\n34|" + Week('1') + "\n", Stored());
    EXPECT_EQ(
        "(NotiFilterAddRecStorageColumn): DB[0], Detect notificationfilter missing rec_storage_removed\n",
        Log());

    Sql(DB_SYSTEM,
        "DELETE FROM notificationschedule WHERE event_type = 34;"
        "CREATE TRIGGER no34 BEFORE INSERT ON notificationschedule"
        " BEGIN SELECT RAISE(ABORT, 'no'); END;"
        "UPDATE notificationschedule SET schedule = '' WHERE event_type = 33;");
    EXPECT_EQ(-1, migrations::NotiFilterAddRecStorageColumn());
    EXPECT_EQ(1, CountInLog("(NotiFilterAddRecStorageColumn): Failed to update notification schedule.\n"));
    EXPECT_EQ("33|\n", Stored()) << "both or neither";

    g_missingSchema[DB_SYSTEM].clear();
    EXPECT_EQ(0, migrations::NotiFilterAddRecStorageColumn());
    VGDB::SetNotRepaired(DB_SYSTEM, {.all = true, .names = {}});
    EXPECT_EQ(-1, migrations::NotiFilterAddRecStorageColumn())
        << "what the repair found missing is not known";
}

}  // namespace
