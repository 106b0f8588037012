// Rows that change keys of settings.conf.
#include <filesystem>
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace fs = std::filesystem;

namespace {

class PackageSettings : public SystemTree {};

struct Case {
    int (*row)();
    const char* before;
    const char* after;
};

TEST_F(PackageSettings, ChangeTheirKeysAndNoOther) {
    using namespace migrations;
    const Case cases[] = {
        {UpdateCMSInfo, "vg_cms=\"yes\"\nvg_cms_mode=\"1\"\n# vg_cms\nvg_cms_slave=\"no\"\n",
         "vg_cms_mode=\"1\"\n# vg_cms\n"},
        {UpdateCMSInfo, "vg_cms_slave=no\nx=\"1\"\n", "x=\"1\"\n"},
        {UpdateCMSVideoRelayType, "vg_cms_auto_video_relay=\"yes\"\nvg_cms_video_relay_type=\"2\"\n",
         "vg_cms_video_relay_type=\"2\"\n"},
        {ResetDpLdNewVersion, "vg_ld_new_version=\"1.2-3456\"\nx=\"1\"\n",
         "vg_ld_new_version=\"0-0\"\nx=\"1\"\nvg_dp_new_version=\"0-0\"\n"},
        {DisableDPLocalDisplayAutoUpdate, "vg_dp_auto_download=\"true\"\nx=\"1\"\n",
         "vg_dp_auto_download=\"false\"\nx=\"1\"\nvg_ld_auto_download=\"false\"\n"},
        {UpdateH265HwDecodeSettings, "x=\"1\"\n", "x=\"1\"\nupgrade_enable_H265_hw_decode=\"true\"\n"},
        {RenameDownloadServerKey, "vg_client_download_server=\"http://a/?q=\\\"1\\\"\"\nx=\"1\"\n",
         "x=\"1\"\nvg_file_download_server=\"http://a/?q=\\\"1\\\"\"\n"},
        {RenameDownloadServerKey, "vg_client_download_server=\"\"\nx=\"1\"\n", "x=\"1\"\n"},
        {RenameDownloadServerKey, "vg_client_download_server=\nvg_file_download_server=\"http://b\"\n",
         "vg_file_download_server=\"http://b\"\n"},
        {RenameDownloadServerKey, "vg_file_download_server=\"http://b\"\n",
         "vg_file_download_server=\"http://b\"\n"},
        // Killed after the new key was stored.
        {RenameDownloadServerKey,
         "vg_client_download_server=\"http://a\"\nvg_file_download_server=\"http://a\"\n",
         "vg_file_download_server=\"http://a\"\n"},
    };
    for (const Case& c : cases) {
        WriteSettings(c.before);
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(0, c.row()) << c.before;
            EXPECT_EQ(c.after, Settings()) << c.before;
        }
    }
    // Nothing takes over what the retired keys held: the log keeps it.
    EXPECT_EQ(
        "(UpdateCMSInfo): Removed vg_cms=\"yes\" from settings.conf\n"
        "(UpdateCMSInfo): Removed vg_cms_slave=\"no\" from settings.conf\n"
        "(UpdateCMSInfo): Removed vg_cms_slave=\"no\" from settings.conf\n"
        "(UpdateCMSVideoRelayType): Removed vg_cms_auto_video_relay=\"yes\" from settings.conf\n",
        Log());
}

TEST_F(PackageSettings, TheDownloadServerInUseHoldsWhenBothKeysAreThere) {
    WriteSettings("vg_file_download_server=\"http://new\"\nvg_client_download_server=\"http://old\"\n");
    EXPECT_EQ(0, migrations::RenameDownloadServerKey());
    EXPECT_EQ("vg_file_download_server=\"http://old\"\n", Settings());
    EXPECT_EQ(1, CountInLog("(RenameDownloadServerKey): vg_file_download_server takes the value of "
                            "vg_client_download_server; its own is dropped.\n"));
}

TEST_F(PackageSettings, TheDownloadServerOfThePackageHoldsWhenItIsSecure) {
    const std::string package = Path("/var/packages/Vigilo/etc/package.conf");
    const std::string own = "vg_file_download_server=\"https://own\"\nx=\"1\"\n";
    const struct {
        const char* package;
        std::string after;
    } cases[] = {
        {"version=\"9.2.9-9760\"\n", own},
        {"file_download_server=\"\"\n", own},
        {"file_download_server=\"http://new\"\n", own},
        {"file_download_server=\"see https://new\"\n", own},
        {"file_download_server=\"https://new\"\n", "vg_file_download_server=\"https://new\"\nx=\"1\"\n"},
    };
    WriteSettings(own);
    EXPECT_EQ(0, migrations::SetFileDownloadServer()) << "no package.conf";
    for (const auto& [text, after] : cases) {
        WriteSettings(own);
        WriteFile(package, text);
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(0, migrations::SetFileDownloadServer()) << text;
            EXPECT_EQ(after, Settings()) << text;
        }
    }
    EXPECT_EQ("", Log());
    fs::remove(package);
    fs::create_directory(package);
    EXPECT_EQ(-1, migrations::SetFileDownloadServer());
    EXPECT_EQ(1,
              CountInLog("(SetFileDownloadServer): Failed to get file_download_server from package.conf\n"));
}

TEST_F(PackageSettings, SayWhatCouldNotBeChanged) {
    using namespace migrations;
    fs::create_directories(Path("/var/packages/Vigilo/etc/settings.conf"));
    struct {
        int (*row)();
        int result;
        const char* message;
    } const cases[] = {
        {UpdateCMSInfo, -1, "(UpdateCMSInfo): Failed to remove vg_cms, vg_cms_slave from settings.conf\n"},
        {UpdateCMSVideoRelayType, -1,
         "(UpdateCMSVideoRelayType): Failed to remove vg_cms_auto_video_relay in settings.conf.\n"},
        {RenameDownloadServerKey, -1,
         "(RenameDownloadServerKey): Failed to get vg_client_download_server from settings.conf\n"},
        {ResetDpLdNewVersion, -1,
         "(ResetDpLdNewVersion): Failed to set vg_ld_new_version in setting conf.\n"},
        {DisableDPLocalDisplayAutoUpdate, -1,
         "(DisableDPLocalDisplayAutoUpdate): Failed to set vg_dp_auto_download in setting conf.\n"},
        {UpdateH265HwDecodeSettings, 0,
         "(UpdateH265HwDecodeSettings): Failed to set upgrade_enable_H265_hw_decode in setting conf, "
         "skip.\n"},
    };
    for (const auto& [row, result, message] : cases) {
        EXPECT_EQ(result, row()) << message;
        EXPECT_EQ(1, CountInLog(message)) << message;
    }
}

}  // namespace
