// The once-only rows: the key that means done, when it is set, and what is logged when it cannot be.
#include <filesystem>
#include <string>

#include "platform/base/paths.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"
#include "upgrader/once.h"

namespace fs = std::filesystem;

namespace {

enum class Work {
    None,  // the row sets its key and does nothing more
    Once,  // the key is set when the work is done
    Tried  // it is set also when the work has failed; the work runs where the upgrader ran before
};

struct OnceRow {
    const char* name;
    int (*row)();
    Work work;
    std::string key;
    std::string failure;
};

// The failure of most names the key.
std::string Failed(const std::string& what) { return "Failed to set " + what + " in setting conf.\n"; }

#define ROW(name) #name, migrations::name
const OnceRow kRows[] = {
    {ROW(CopyEmapItemToGeoMapItem), Work::None, "upgrade_copy_emap_item", Failed("upgrade_copy_emap_item")},
    {ROW(UpdatePairedSpeakerType), Work::None, "upgrade_camera_paired_speaker_type",
     Failed("Update Camera paired speaker type")},
    {ROW(UpdateEdgeStorageSetting), Work::None, "upgrade_edge_storage_setting",
     Failed("Update Edge Storage Setting")},
    {ROW(ChownCamReclog), Work::None, "chown_cam_reclog", Failed("Update Manager value")},
    {ROW(IntegrateArchiveSettingOnce), Work::None, "upgrade_integrate_archive_setting",
     Failed("upgrade_integrate_archive_setting")},
    {ROW(ArchRecMethodToPayloadOnce), Work::None, "upgrade_archiving_rec_method_to_payload",
     Failed("upgrade_archiving_rec_method_to_payload")},
    {ROW(UpdateRecAlertEventType), Work::None, "upgrade_rec_alert_event_type",
     Failed("Update rec event type")},
    {ROW(UpdateWebMapDefPriv), Work::None, "upgrade_webmap_def_priv", Failed("upgrade_webmap_def_priv")},
    {ROW(CorrectAdminUserPrivProfile), Work::None, "upgrade_admin_privilige",
     Failed("upgrade_admin_privilige")},
    {ROW(RenameActionRuleBmkWebhookParam), Work::None, "upgrade_rename_actionrule_webhook_param",
     Failed("upgrade_rename_actionrule_webhook_param")},
    {ROW(UpdateDvaPeopleDisplayCount), Work::None, "upgrade_dva_ppl_display_count",
     Failed("upgrade_dva_ppl_display_count")},
    {ROW(UpdateDvaDetectionOnlyResults), Work::None, "upgrade_dva_detection_only_rec",
     Failed("upgrade_dva_detection_only_rec")},
    {ROW(SyncHosNotifyOnce), Work::None, "sync_hos_notify", "Failed to set key to settings.conf\n"},
    {ROW(UpdateManagerOperPriv), Work::Once, "upgrade_manager_priv", Failed("Update Manager value")},
    {ROW(UpdateIVAOperPriv), Work::Once, "upgrade_iva_priv", Failed("Update Manager value")},
    {ROW(UpdatePrivPerCam), Work::Once, "upgrade_digiout_priv", Failed("Update Manager value")},
    {ROW(ExtendPrivAdvOper), Work::Once, "upgrade_ina_adv_operator",
     "Failed to set upgrade_ina_adv_operator to conf\n"},
    {ROW(UpdateNotifyScheduleForHomeModeRelated), Work::Once, "upgrade_home_mode_noti_schedule",
     Failed("home mode notify schedule")},
    {"ExtendSystemNotifySchedule", migrations::UpdateSystemNotifySchedule, Work::Once,
     "upgrade_extend_system_noti_schedule", Failed("home mode notify schedule")},
    {ROW(UpdateNotificationEvent), Work::Once, "upgrade_notification_event",
     Failed("Update notification event")},
    {ROW(UpdateCameraAlertEventType), Work::Once, "upgrade_camera_alert_event_type",
     Failed("update camera event type")},
    {ROW(UpdateEventLabelSettingToJson), Work::Once, "upgrade_event_label_setting_to_json",
     Failed("Update Label Setting")},
    {ROW(UpdateEventLabelColor), Work::Once, "upgrade_event_label_color", Failed("Update Label Setting")},
    {ROW(IntegratePrePostRecTimeOnce), Work::Once, "upgrade_integrate_pre_post_rec",
     Failed("upgrade_integrate_pre_post_rec")},
    {ROW(UpdateNotificationPeopleVechileSetting), Work::Tried, "upgrade_notification_people_vehicle",
     Failed("upgrade_notification_people_vehicle")},
    {ROW(DisableNotificationMDWebhookFilter), Work::Tried, "upgrade_notify_md_webhook_disable",
     Failed("upgrade_notify_md_webhook_disable")},
};
#undef ROW

class OnceOnlyRows : public SystemTree {
protected:
    static constexpr const char* kStamp = "vg_upgrader_version=\"9.1.0-9000\"\n";

    static std::string Line(const OnceRow& row, const char* value) {
        return row.key + "=\"" + value + "\"\n";
    }
    static bool IsSet(const OnceRow& row) { return Settings().find(Line(row, "true")) != std::string::npos; }
    static void DamageMainDatabase() { WriteFile(VGDB::GetDBPath(DB_SYSTEM), std::string(4096, 'x')); }
};

TEST_F(OnceOnlyRows, SetTheirKeyWhenTheirWorkIsDone) {
    CreateNewSystem();
    for (const OnceRow& row : kRows) {
        WriteSettings(kStamp);
        EXPECT_EQ(0, row.row()) << row.name;
        EXPECT_TRUE(IsSet(row)) << row.name;
    }
    EXPECT_EQ("", Log());
}

TEST_F(OnceOnlyRows, DoNothingOnceTheirKeyIsThere) {
    DamageMainDatabase();
    for (const OnceRow& row : kRows) {
        // The presence counts, not the value; but a row that is only tried writes it each time.
        const std::string settings = kStamp + Line(row, row.work == Work::Tried ? "true" : "false");
        WriteSettings(settings);
        EXPECT_EQ(0, row.row()) << row.name;
        EXPECT_TRUE(Settings().starts_with(settings)) << row.name << Settings();
    }
    EXPECT_EQ("", Log());
}

TEST_F(OnceOnlyRows, WhoseWorkFailsTryItAgainUnlessItIsTriedOnlyOnce) {
    DamageMainDatabase();
    for (const OnceRow& row : kRows) {
        WriteSettings(kStamp);
        EXPECT_EQ(row.work == Work::None ? 0 : -1, row.row()) << row.name;
        EXPECT_EQ(row.work != Work::Once, IsSet(row)) << row.name;
    }
}

TEST_F(OnceOnlyRows, WhoseKeyCannotBeWrittenFailUnderTheirName) {
    CreateNewSystem();
    fs::remove_all(fs::path(Path(kSettingsConf)).parent_path());
    for (const OnceRow& row : kRows) {
        EXPECT_EQ(-1, row.row()) << row.name;
        EXPECT_EQ(1, CountInLog("(" + std::string(row.name) + "): " + row.failure)) << row.name;
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
