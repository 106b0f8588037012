// The once-only flags of rows whose work is not settled.
#include "upgrader/once.h"

#include <filesystem>
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace fs = std::filesystem;

namespace {

struct Flag {
    const char* name;
    int (*row)();
    std::string key;
    std::string failure;
};

// The failure of most names the key.
std::string Failed(const std::string& what) { return "Failed to set " + what + " in setting conf.\n"; }

#define ROW(name) #name, migrations::name
const Flag kFlags[] = {
    {ROW(CopyEmapItemToGeoMapItem), "upgrade_copy_emap_item", Failed("upgrade_copy_emap_item")},
    {ROW(UpdatePairedSpeakerType), "upgrade_camera_paired_speaker_type",
     Failed("Update Camera paired speaker type")},
    {ROW(UpdateEdgeStorageSetting), "upgrade_edge_storage_setting", Failed("Update Edge Storage Setting")},
    {ROW(ChownCamReclog), "chown_cam_reclog", Failed("Update Manager value")},
    {ROW(IntegrateArchiveSettingOnce), "upgrade_integrate_archive_setting",
     Failed("upgrade_integrate_archive_setting")},
    {ROW(ArchRecMethodToPayloadOnce), "upgrade_archiving_rec_method_to_payload",
     Failed("upgrade_archiving_rec_method_to_payload")},
    {ROW(UpdateRecAlertEventType), "upgrade_rec_alert_event_type", Failed("Update rec event type")},
    {ROW(UpdatePrivPerCam), "upgrade_digiout_priv", Failed("Update Manager value")},
    {ROW(UpdateWebMapDefPriv), "upgrade_webmap_def_priv", Failed("upgrade_webmap_def_priv")},
    {ROW(CorrectAdminUserPrivProfile), "upgrade_admin_privilige", Failed("upgrade_admin_privilige")},
    {ROW(RenameActionRuleBmkWebhookParam), "upgrade_rename_actionrule_webhook_param",
     Failed("upgrade_rename_actionrule_webhook_param")},
    {ROW(UpdateDvaPeopleDisplayCount), "upgrade_dva_ppl_display_count",
     Failed("upgrade_dva_ppl_display_count")},
    {ROW(UpdateDvaDetectionOnlyResults), "upgrade_dva_detection_only_rec",
     Failed("upgrade_dva_detection_only_rec")},
    {ROW(SyncHosNotifyOnce), "sync_hos_notify", "Failed to set key to settings.conf\n"},
};
#undef ROW

class OnceOnlyFlags : public SystemTree {};

TEST_F(OnceOnlyFlags, AreSetOnceAndChangeNothingElse) {
    for (const Flag& flag : kFlags) {
        WriteSettings("x=\"1\"\n");
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(0, flag.row()) << flag.name;
            EXPECT_EQ("x=\"1\"\n" + flag.key + "=\"true\"\n", Settings()) << flag.name;
        }
        WriteSettings(flag.key + "=\"false\"\n");
        EXPECT_EQ(0, flag.row()) << flag.name;
        EXPECT_EQ(flag.key + "=\"false\"\n", Settings())
            << flag.name << ": its presence counts, not its value";
    }
    EXPECT_EQ("", Log());
}

TEST_F(OnceOnlyFlags, ThatCannotBeWrittenFailTheRowUnderItsName) {
    fs::create_directories(Path("/var/packages/Vigilo/etc/settings.conf"));
    for (const Flag& flag : kFlags) {
        EXPECT_EQ(-1, flag.row()) << flag.name;
        EXPECT_EQ(1, CountInLog("(" + std::string(flag.name) + "): " + flag.failure)) << flag.name;
    }
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
