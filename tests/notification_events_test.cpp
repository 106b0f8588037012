#include <filesystem>
#include <string>

#include "platform/host/paths.h"
#include "platform/notification/home_mode_setting.h"
#include "platform/notification/notification_filter.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"
#include "upgrader/migrations/noti_upgrade.h"
#include "upgrader/missing_schema.h"

namespace {

class NotificationEvents : public SystemTree {
protected:
    NotificationEvents() {
        Sql(DB_SYSTEM,
            "CREATE TABLE notificationevent(event_group INTEGER, event_type INTEGER, filter INTEGER,"
            " home_mode_filter INTEGER);"
            "CREATE TABLE notificationwebhook(id INTEGER PRIMARY KEY);");
    }

    static std::string Events() { return Rows(DB_SYSTEM, "SELECT * FROM notificationevent ORDER BY rowid"); }
};

class NotificationTypes : public SystemTree {};

TEST_F(NotificationTypes, AreTheColumnsOfTheHomeModeTable) {
    std::string columns;
    for (int type = 0; type < NOTIFY_TYPE_COUNT; ++type)
        columns += HomeModeSetting::GetNotiTypeKey(static_cast<VG_NOTIFY_TYPE>(type)) + '\n';
    CreateFromSchema(DB_SYSTEM);
    EXPECT_EQ(columns, Rows(DB_SYSTEM, "SELECT name FROM pragma_table_info('homemodenotifyfilter')"));
    EXPECT_EQ(122u, NotificationFilter::GetNotiFilterKeys().size());

    for (const int noType : {-1, 122}) {
        EXPECT_EQ("", HomeModeSetting::GetNotiTypeKey(static_cast<VG_NOTIFY_TYPE>(noType)));
        EXPECT_TRUE(NotificationFilter::IsDeprecated(static_cast<VG_NOTIFY_TYPE>(noType)));
    }
}

TEST_F(NotificationEvents, FiltersAreReadFromTheSettingsAndOnlyChangesAreWritten) {
    const std::string before =
        "# filters\r\n"
        "noti_filter_motion_detected=\"37\"\r\n"
        "noti_filter_motion_detected=\"1\"\r\n"
        "noti_filter_notify_type_0=many\r\n"
        "noti_filter_notify_type_122=\"4\"\r\n";
    WriteSettings(before);
    NotificationFilter filter;
    ASSERT_EQ(0, filter.Reload());
    EXPECT_EQ((NotificationFilter::FilterMap{{VG_NOTIFY_TYPE{0}, 0}, {NOTIFY_MOTION_DETECTED, 37}}),
              filter.GetFilterMap());
    EXPECT_EQ(1, filter.GetFilterSettingByType(NOTIFY_INTERCOM_REX)) << "the default";

    filter.SetFilterSettingByType(NOTIFY_MOTION_DETECTED, 37);
    ASSERT_EQ(0, filter.Save());
    EXPECT_EQ(before, Settings());
    filter.SetFilterSettingByType(NOTIFY_INTERCOM_REX, 1);
    ASSERT_EQ(0, filter.Save());
    EXPECT_EQ(before + "noti_filter_intercom_rex=\"1\"\r\n", Settings()) << "the default too, when it is set";
    filter.RemoveFilterSettingByType(NOTIFY_INTERCOM_REX);
    ASSERT_EQ(0, filter.Save());
    EXPECT_EQ(before, Settings());
}

TEST_F(NotificationEvents, StayUndoneWhenSettingsCannotBeRead) {
    std::filesystem::create_directory(Path(kSettingsConf));
    EXPECT_EQ(-1, NotificationFilter().Reload());
    EXPECT_EQ(-1, migrations::UpdateNotificationEvent());
    EXPECT_EQ(1, CountInLog("(UpdateNotificationEvent): Failed to get upgrade_notification_event from settings.conf\n"));
    EXPECT_EQ("", Events());
}

// Type 0 has both values, 1 and 6 only a home-mode value, 5 only a filter, 62 neither; 90 comes on top.
TEST_F(NotificationEvents, AreMadeFromTheOldFilters) {
    Sql(DB_SYSTEM,
        "CREATE TABLE homemodenotifyfilter(notify_type_0 TEXT, notify_type_1 TEXT, motion_detected TEXT,"
        " notify_type_6 TEXT, intercom_access TEXT, notify_type_90 TEXT);"
        "INSERT INTO homemodenotifyfilter VALUES('3', ' 12 monkeys', NULL, '', NULL, '7');"
        "INSERT INTO notificationevent VALUES(1, 200, 8, 8);");
    WriteSettings(
        "admin=\"root\"\n"
        "noti_filter_notify_type_0=\"33\"\n"
        "noti_filter_motion_detected=\"-1\"\n"
        "noti_filter_of_another=\"9\"\n");
    EXPECT_EQ(0, migrations::UpdateNotificationEvent());
    EXPECT_EQ(
        "1|200|8|8\n"
        "1|0|33|3\n"
        "1|1|1|12\n"
        "2|5|-1|0\n"
        "1|6|1|0\n"
        "1|90|1|7\n"
        "1|90|1|-1\n",
        Events());
    EXPECT_EQ("admin=\"root\"\nnoti_filter_of_another=\"9\"\nupgrade_notification_event=\"true\"\n",
              Settings());
}

TEST_F(NotificationEvents, NeedExactlyOneHomeModeRow) {
    Sql(DB_SYSTEM, "CREATE TABLE homemodenotifyfilter(notify_type_0 TEXT);");
    EXPECT_EQ(-1, migrations::UpdateNotificationEvent());
    Sql(DB_SYSTEM, "INSERT INTO homemodenotifyfilter VALUES('1'), ('2');");
    EXPECT_EQ(-1, migrations::UpdateNotificationEvent());
    EXPECT_EQ(2, CountInLog("(UpdateNotificationEventDB): Failed to load homemode notify filter table\n"));
    EXPECT_EQ("", Events());
    EXPECT_EQ("", Settings());
}

TEST_F(NotificationEvents, AreInsertedWholeOrNotAtAll) {
    Sql(DB_SYSTEM,
        "CREATE TABLE homemodenotifyfilter(motion_detected TEXT);"
        "INSERT INTO homemodenotifyfilter VALUES('4');"
        "CREATE TRIGGER no90 BEFORE INSERT ON notificationevent WHEN NEW.event_type = 90"
        " BEGIN SELECT RAISE(ABORT, 'no'); END;");
    const std::string settings = "noti_filter_motion_detected=\"5\"\n";
    WriteSettings(settings);
    EXPECT_EQ(-1, migrations::UpdateNotificationEvent());
    EXPECT_EQ(1, CountInLog("(UpdateNotificationEventDB): Failed to execute command "
                            "INSERT INTO notificationevent (event_group, event_type, filter,home_mode_filter)"
                            " VALUES (2, 5, 5, 4);"
                            "INSERT INTO notificationevent (event_group, event_type, filter,home_mode_filter)"
                            " VALUES (1, 90, 1, -1);.\n"));
    EXPECT_EQ("", Events());
    EXPECT_EQ(settings, Settings()) << "neither the flag nor a loss";
}

TEST_F(NotificationEvents, GetThePeopleAndVehicleTypeOnce) {
    WriteSettings("vg_upgrader_version=\"9.2.0-9000\"\n");
    EXPECT_EQ(0, migrations::UpdateNotificationPeopleVechileSetting());
    EXPECT_EQ("2|109|1|1\n", Events());

    WriteSettings("vg_upgrader_version=\"9.2.0-9000\"\n");  // the flag was lost
    EXPECT_EQ(0, migrations::UpdateNotificationPeopleVechileSetting());
    EXPECT_EQ("2|109|1|1\n", Events());
}

TEST_F(NotificationEvents, LoseTheWebhookOfMotionDetectionOnlyWithoutAWebhook) {
    const std::string settings = "vg_upgrader_version=\"9\"\n";
    Sql(DB_SYSTEM,
        "INSERT INTO notificationevent VALUES(2, 5, 39, 32), (2, 5, 32, 0), (1, 6, 39, 32);"
        "INSERT INTO notificationwebhook VALUES(1);");
    WriteSettings(settings);
    EXPECT_EQ(0, migrations::DisableNotificationMDWebhookFilter());
    EXPECT_EQ("2|5|39|32\n2|5|32|0\n1|6|39|32\n", Events());

    Sql(DB_SYSTEM, "DELETE FROM notificationwebhook;");
    WriteSettings(settings);
    EXPECT_EQ(0, migrations::DisableNotificationMDWebhookFilter());
    EXPECT_EQ("2|5|7|32\n2|5|0|0\n1|6|39|32\n", Events());

    Sql(DB_SYSTEM, "DROP TABLE notificationevent;");
    WriteSettings(settings);
    EXPECT_EQ(-1, migrations::DisableNotificationMDWebhookFilter());
    EXPECT_EQ(1, CountInLog("(DisableNotificationMDWebhookFilter): Failed to update notification event for "
                            "motion detected.\n"));
}

TEST_F(NotificationEvents, AStampThatCannotBeReadSkipsTheWorkButNotTheFlag) {
    const std::string stamp = "vg_upgrader_version=\"" + std::string(300, '9') + "\"\n";
    Sql(DB_SYSTEM, "INSERT INTO notificationevent VALUES(2, 5, 39, 32);");
    WriteSettings(stamp);
    EXPECT_EQ(0, migrations::UpdateNotificationPeopleVechileSetting());
    EXPECT_EQ(-1, migrations::DisableNotificationMDWebhookFilter());
    EXPECT_EQ(2, CountInLog("Failed to get vg_upgrader_version from settings.conf, skip.\n"));
    EXPECT_EQ("2|5|39|32\n", Events());
    EXPECT_EQ(stamp +
                  "upgrade_notification_people_vehicle=\"true\"\n"
                  "upgrade_notify_md_webhook_disable=\"true\"\n",
              Settings());

    WriteSettings("");  // never ran
    EXPECT_EQ(0, migrations::UpdateNotificationPeopleVechileSetting());
    EXPECT_EQ(0, migrations::DisableNotificationMDWebhookFilter());
    EXPECT_EQ("2|5|39|32\n", Events());
}

TEST_F(NotificationEvents, RequestToExitHasWhatIntercomAccessHas) {
    const std::string access = "noti_filter_intercom_access=", rex = "noti_filter_intercom_rex=";
    const struct {
        std::string settings, settingsAfter;
        const char* homeMode;
        const char* homeModeAfter;
    } cases[] = {
        {access + "\"6\"\n" + rex + "\"1\"\n", access + "\"6\"\n" + rex + "\"6\"\n", "'it''s 5', '2'",
         "'it''s 5'|'it''s 5'\n"},
        {access + "\"1\"\n", access + "\"1\"\n" + rex + "\"1\"\n", "'', NULL", "''|''\n"},
        {"x=\"1\"\n" + rex + "\"7\"\n", "x=\"1\"\n", "NULL, '2'", "NULL|NULL\n"},
        {"", "", "NULL, NULL", "NULL|NULL\n"},
    };
    Sql(DB_SYSTEM, "CREATE TABLE homemodenotifyfilter(intercom_access TEXT, intercom_rex TEXT);");
    for (const auto& [settings, settingsAfter, homeMode, homeModeAfter] : cases) {
        WriteSettings(settings);
        Sql(DB_SYSTEM,
            std::string("DELETE FROM homemodenotifyfilter; INSERT INTO homemodenotifyfilter VALUES(") +
                homeMode + ");");
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(0, migrations::UpdateIntercomRexNotificationSettings());
            EXPECT_EQ(settingsAfter, Settings());
            EXPECT_EQ(homeModeAfter,
                      Rows(DB_SYSTEM,
                           "SELECT quote(intercom_access), quote(intercom_rex) FROM homemodenotifyfilter"));
        }
    }
}

TEST_F(NotificationEvents, FiltersLeaveTheirTableForTheSettings) {
    Sql(DB_SYSTEM,
        "CREATE TABLE notificationfilter(motion_detected INTEGER, notify_type_6 INTEGER, notify_type_7 TEXT,"
        " notify_type_8 INTEGER, notify_type_9 INTEGER, rec_storage_removed INTEGER, notify_type_122 "
        "INTEGER);");
    WriteSettings("noti_filter_notify_type_6=\"2\"\n");
    EXPECT_EQ(0, NotiUpgrade::MoveFilterFromDbToConf()) << "no row";
    Sql(DB_SYSTEM,
        "INSERT INTO notificationfilter VALUES(33, 5, ' 7 of 9', NULL, 4, 1, 1), (1, 1, '1', 1, 1, 1, 1);");
    g_missingSchema[DB_SYSTEM] = {{"notificationfilter", {"notify_type_9", "rec_storage_removed"}}};
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, NotiUpgrade::MoveFilterFromDbToConf());
        EXPECT_EQ(
            "noti_filter_notify_type_6=\"2\"\n"  // set since
            "noti_filter_motion_detected=\"33\"\n"
            "noti_filter_notify_type_7=\"7\"\n",
            Settings());
    }
    EXPECT_EQ("2\n", Rows(DB_SYSTEM, "SELECT count(*) FROM notificationfilter")) << "the table stays";
    WriteSettings("upgrade_notification_event=\"true\"\n");
    EXPECT_EQ(0, NotiUpgrade::MoveFilterFromDbToConf());
    EXPECT_EQ("upgrade_notification_event=\"true\"\n", Settings()) << "they are rows of their own by now";

    std::filesystem::remove_all(std::filesystem::path(Path(kSettingsConf)).parent_path());
    EXPECT_EQ(-1, NotiUpgrade::MoveFilterFromDbToConf());
    for (const char* key : {"motion_detected", "notify_type_6", "notify_type_7"})
        EXPECT_EQ(1, CountInLog("(MoveFilterFromDbToConf): Failed to set noti_filter_" + std::string(key) +
                                " in setting conf.\n"));
    g_missingSchema[DB_SYSTEM].clear();
}

TEST_F(NotificationEvents, NothingIsKeptOfTwoMessengers) {
    Sql(DB_SYSTEM,
        "CREATE TABLE notificationpushservice(id INTEGER PRIMARY KEY, mobile_enable INTEGER, MSN_enable "
        "integer,"
        " msn_account TEXT, enable_Skype BOOLEAN, \"skype \"\"name\"\"\" VARCHAR(20), skyline INTEGER);"
        "INSERT INTO notificationpushservice VALUES(1, 1, 1, 'a@b', 1, 'it''s', 1), (2, 0, 0, NULL, NULL, "
        "NULL, 0);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::DisableMsnSkypePushService());
        EXPECT_EQ("1|1|0|''|0|''|1\n2|0|0|''|0|''|0\n",
                  Rows(DB_SYSTEM,
                       "SELECT id, mobile_enable, MSN_enable, quote(msn_account), enable_Skype,"
                       " quote(\"skype \"\"name\"\"\"), skyline FROM notificationpushservice"));
    }
    Sql(DB_SYSTEM, "DROP TABLE notificationpushservice; CREATE TABLE notificationpushservice(id INTEGER);");
    EXPECT_EQ(0, migrations::DisableMsnSkypePushService()) << "no such column";
    EXPECT_EQ("", Log());
}

TEST_F(NotificationEvents, RequestToExitReportsWhatItCannotTakeOver) {
    EXPECT_EQ(-1, migrations::UpdateIntercomRexNotificationSettings());
    EXPECT_EQ(1, CountInLog("(UpdateIntercomRexNotificationSettings): Failed to load camdetsetting from DB. "
                            "[SELECT * FROM homemodenotifyfilter]\n"));
    Sql(DB_SYSTEM, "CREATE TABLE homemodenotifyfilter(intercom_access TEXT);");
    EXPECT_EQ(-1, migrations::UpdateIntercomRexNotificationSettings());
    EXPECT_EQ(1, CountInLog("Wrong home mode settings.\n"));
    Sql(DB_SYSTEM, "INSERT INTO homemodenotifyfilter VALUES('5');");
    EXPECT_EQ(-1, migrations::UpdateIntercomRexNotificationSettings());
    EXPECT_EQ(1,
              CountInLog("VGDBExecute error "
                         "[UPDATE homemodenotifyfilter SET intercom_access = '5', intercom_rex = '5';]\n"));

    WriteSettings("noti_filter_intercom_access=\"6\"\n");
    std::filesystem::create_directories(Path(kSettingsConf) + ".vgtmp");  // in the way of a write
    EXPECT_EQ(-1, migrations::UpdateIntercomRexNotificationSettings());
    EXPECT_EQ(1, CountInLog("Failed to save notification filter settings.\n"));
    std::filesystem::remove(Path(kSettingsConf));
    std::filesystem::create_directories(Path(kSettingsConf));
    EXPECT_EQ(-1, migrations::UpdateIntercomRexNotificationSettings());
    EXPECT_EQ(1, CountInLog("Failed to load notificationfilter.\n"));
}

TEST_F(NotificationEvents, PushServiceIsOnWhenOneOfItsServicesIs) {
    Sql(DB_SYSTEM,
        "CREATE TABLE notificationpushservice(id INTEGER PRIMARY KEY, enable_push_service INTEGER,"
        " mobile_enable INTEGER, orva_mail_enable INTEGER);"
        "INSERT INTO notificationpushservice VALUES(1, 1, 0, 0), (2, 0, 1, 0), (3, 0, 0, 1),"
        " (4, 0, 1, 1), (5, 0, NULL, 1), (6, 1, NULL, NULL);");
    EXPECT_EQ(0, migrations::UpdateEnablePushService());
    EXPECT_EQ("1|0|0|0\n2|1|1|0\n3|1|0|1\n4|1|1|1\n5|1||1\n6|0||\n",
              Rows(DB_SYSTEM, "SELECT * FROM notificationpushservice"));
}

TEST_F(NotificationEvents, SecondMailAddressGoesWhereItRepeatsTheFirst) {
    for (auto* const migration : {migrations::DelDupNotiMail, migrations::UpdateSnapshotSortAndNamingRule}) {
        Sql(DB_SYSTEM,
            "CREATE TABLE notification(id INTEGER PRIMARY KEY, email TEXT, email2 TEXT);"
            "INSERT INTO notification VALUES(1, 'a@b', 'a@b'), (2, 'a@b', 'A@B'), (3, '', ''),"
            " (4, NULL, NULL), (5, NULL, 'a@b');");
        EXPECT_EQ(0, migration());
        EXPECT_EQ("1|a@b|\n2|a@b|A@B\n3||\n4||\n5||a@b\n", Rows(DB_SYSTEM, "SELECT * FROM notification"));
        EXPECT_EQ("1\n", Rows(DB_SYSTEM, "SELECT email2 IS NULL FROM notification WHERE id = 4"));
        Sql(DB_SYSTEM, "DROP TABLE notification;");
    }
    EXPECT_EQ("", Log());
}

}  // namespace
