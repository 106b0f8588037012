// The flags of the notification, label and alert migrations, each in four states.
#include <filesystem>
#include <ostream>
#include <string>

#include "platform/host/paths.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

struct FlaggedMigration {
    const char* name;
    int (*run)();
    const char* flag;
    bool flagAfterFailure;  // tried only once
    const char* settings;   // before the first run
    const char* tables;
    const char* query;  // what the migration changes
    const char* before;
    const char* after;
    const char* damage;  // makes the work fail
    const char* failure;
    const char* flagFailure;

    friend std::ostream& operator<<(std::ostream& out, const FlaggedMigration& migration) {
        return out << migration.name;
    }
};

const FlaggedMigration kMigrations[] = {
    {"UpdateNotificationEvent", migrations::UpdateNotificationEvent, "upgrade_notification_event", false, "",
     "CREATE TABLE notificationevent(event_group, event_type, filter, home_mode_filter);"
     "CREATE TABLE homemodenotifyfilter(notify_type_0 TEXT);"
     "INSERT INTO homemodenotifyfilter VALUES('3');",
     "SELECT * FROM notificationevent", "", "1|0|1|3\n1|90|1|-1\n", "DROP TABLE homemodenotifyfilter;",
     "(UpdateNotificationEventDB): Execute failed for Sql cmd: SELECT * FROM homemodenotifyfilter\n",
     "(UpdateNotificationEvent): Failed to set Update notification event in setting conf.\n"},
    {"UpdateNotifyScheduleForHomeModeRelated", migrations::UpdateNotifyScheduleForHomeModeRelated,
     "upgrade_home_mode_noti_schedule", false, "",
     "CREATE TABLE notificationschedule(event_type INTEGER PRIMARY KEY, schedule TEXT);",
     "SELECT event_type, replace(schedule, '1111111', 'd') FROM notificationschedule", "",
     "59|dddddddddddddddddddddddddddddddddddddddddddddddd\n"
     "60|dddddddddddddddddddddddddddddddddddddddddddddddd\n",
     "DROP TABLE notificationschedule;",
     "(UpdateNotifyScheduleForHomeModeRelated): Failed to reload vggeneric.\n",
     "(UpdateNotifyScheduleForHomeModeRelated): Failed to set home mode notify schedule in setting conf.\n"},
    {"UpdateSystemNotifySchedule", migrations::UpdateSystemNotifySchedule,
     "upgrade_extend_system_noti_schedule", false, "",
     "CREATE TABLE notificationschedule(event_type INTEGER PRIMARY KEY, schedule TEXT);"
     "INSERT INTO notificationschedule VALUES(1, '101');",
     "SELECT * FROM notificationschedule", "1|101\n", "1|101\n", "DROP TABLE notificationschedule;",
     "(ExtendSystemNotifySchedule): Failed to reload vggeneric.\n",
     "(ExtendSystemNotifySchedule): Failed to set home mode notify schedule in setting conf.\n"},
    {"UpdateNotificationPeopleVechileSetting", migrations::UpdateNotificationPeopleVechileSetting,
     "upgrade_notification_people_vehicle", true, "vg_upgrader_version=\"9.1.0-9000\"\n",
     "CREATE TABLE notificationevent(event_group, event_type, filter, home_mode_filter);",
     "SELECT * FROM notificationevent", "", "2|109|1|1\n", "DROP TABLE notificationevent;",
     "(UpdateNotificationPeopleVechileSetting): "
     "Failed to insert notification event for people / vehicle detected.\n",
     "(UpdateNotificationPeopleVechileSetting): "
     "Failed to set upgrade_notification_people_vehicle in setting conf.\n"},
    {"DisableNotificationMDWebhookFilter", migrations::DisableNotificationMDWebhookFilter,
     "upgrade_notify_md_webhook_disable", true, "vg_upgrader_version=\"9.1.0-9000\"\n",
     "CREATE TABLE notificationevent(event_group, event_type, filter, home_mode_filter);"
     "CREATE TABLE notificationwebhook(id);"
     "INSERT INTO notificationevent VALUES(2, 5, 33, 33);",
     "SELECT * FROM notificationevent", "2|5|33|33\n", "2|5|1|33\n", "DROP TABLE notificationwebhook;",
     "(DisableNotificationMDWebhookFilter): Failed to get notification webhook.\n",
     "(DisableNotificationMDWebhookFilter): "
     "Failed to set upgrade_notify_md_webhook_disable in setting conf.\n"},
    {"UpdateEventLabelSettingToJson", migrations::UpdateEventLabelSettingToJson,
     "upgrade_event_label_setting_to_json", false, "",
     "CREATE TABLE eventlabelsetting(event_type, source, enabled, text, setting);"
     "INSERT INTO eventlabelsetting VALUES(4, 0, 1, '[\"mine\"]', '');",
     "SELECT setting LIKE '%mine%' FROM eventlabelsetting", "0\n", "1\n", "DROP TABLE eventlabelsetting;",
     "(UpdateEventLabelSettingToJson): Failed to execute sql: "
     "SELECT * FROM eventlabelsetting WHERE event_type = 4 AND source = 0;\n",
     "(UpdateEventLabelSettingToJson): Failed to set Update Label Setting in setting conf.\n"},
    {"UpdateEventLabelColor", migrations::UpdateEventLabelColor, "upgrade_event_label_color", false, "",
     "CREATE TABLE eventlabelsetting(event_type, source, setting);"
     "INSERT INTO eventlabelsetting VALUES(4, 0, '[{\"background\":\"#E3D000\"}]');",
     "SELECT setting FROM eventlabelsetting", "[{\"background\":\"#E3D000\"}]\n",
     "[{\"background\":\"#E6D600\"}]\n", "DROP TABLE eventlabelsetting;",
     "(UpdateEventLabelColor): Failed to execute sql: SELECT * FROM eventlabelsetting;\n",
     "(UpdateEventLabelColor): Failed to set Update Label Setting in setting conf.\n"},
    {"UpdateCameraAlertEventType", migrations::UpdateCameraAlertEventType, "upgrade_camera_alert_event_type",
     false, "",
     "CREATE TABLE camera(id, alert_event, adv_live_trig_event, adv_contious_trig_event, alert_event_type,"
     " adv_live_trig_event_type, adv_cont_trig_event_type);"
     "INSERT INTO camera(id, alert_event) VALUES(1, 3);",
     "SELECT alert_event, substr(alert_event_type, 1, 3) FROM camera", "3|\n", "0|110\n",
     "DROP TABLE camera;",
     "(UpdateCameraAlertEventType): Failed to execute sql: "
     "select id, adv_contious_trig_event, adv_live_trig_event, alert_event from camera;\n",
     "(UpdateCameraAlertEventType): Failed to set update camera event type in setting conf.\n"},
};

class FlagOf : public SystemTree, public testing::WithParamInterface<FlaggedMigration> {
protected:
    FlagOf() {
        Sql(DB_SYSTEM, GetParam().tables);
        WriteSettings(GetParam().settings);
    }

    static std::string State() { return Rows(DB_SYSTEM, GetParam().query); }
    static bool HasFlag() {
        return Settings().find(std::string(GetParam().flag) + "=\"true\"\n") != std::string::npos;
    }
};

TEST_P(FlagOf, IsSetByTheFirstRun) {
    ASSERT_EQ(GetParam().before, State());
    EXPECT_EQ(0, GetParam().run());
    EXPECT_EQ(GetParam().after, State());
    EXPECT_TRUE(HasFlag());
    EXPECT_EQ("", Log());
}

TEST_P(FlagOf, StopsTheSecondRun) {
    WriteSettings(std::string(GetParam().settings) + GetParam().flag + "=\"no matter what\"\n");
    EXPECT_EQ(0, GetParam().run());
    EXPECT_EQ(GetParam().before, State());

    Sql(DB_SYSTEM, GetParam().damage);
    EXPECT_EQ(0, GetParam().run()) << "the work would fail";
    EXPECT_EQ("", Log());
}

TEST_P(FlagOf, AfterFailedWork) {
    Sql(DB_SYSTEM, GetParam().damage);
    EXPECT_EQ(-1, GetParam().run());
    EXPECT_EQ(1, CountInLog(GetParam().failure)) << Log();
    EXPECT_EQ(GetParam().flagAfterFailure, HasFlag());
}

TEST_P(FlagOf, ThatCannotBeWrittenIsAFailure) {
    std::filesystem::remove_all(std::filesystem::path(Path(kSettingsConf)).parent_path());
    EXPECT_EQ(-1, GetParam().run());
    EXPECT_EQ(1, CountInLog(GetParam().flagFailure)) << Log();
    // Without settings the upgrader never ran, so those that ask for that have nothing to do.
    EXPECT_EQ(GetParam().flagAfterFailure ? GetParam().before : GetParam().after, State());
}

INSTANTIATE_TEST_SUITE_P(Migrations, FlagOf, testing::ValuesIn(kMigrations),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
