// Package settings: keys of settings.conf and what add-on services find there.
#include <initializer_list>
#include <string>

#include "platform/host/paths.h"
#include "platform/service/service.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"
#include "upgrader/log.h"
#include "upgrader/migrations.h"
#include "upgrader/once.h"

namespace {

// Tries every key, so that one that cannot be written does not keep the others.
int SetKeys(std::initializer_list<const char*> keys, const std::string& value,
            LogSite site = LogSite::Here()) {
    int result = 0;
    for (const char* key : keys) {
        if (SetSettingConfValue(key, value)) {
            LogMessage(site, kFailedToSetFlag, key);
            result = -1;
        }
    }
    return result;
}

}  // namespace

namespace migrations {

int UpdateCMSInfo() {
    if (VGFileRemoveKeys(kSettingsConf, {"vg_cms", "vg_cms_slave"})) {
        UPG_LOG("Failed to remove vg_cms, vg_cms_slave from settings.conf\n");
        return -1;
    }
    return 0;
}

int UpdateCMSVideoRelayType() {
    if (VGFileRemoveKeys(kSettingsConf, {"vg_cms_auto_video_relay"})) {
        UPG_LOG("Failed to remove vg_cms_auto_video_relay in settings.conf.\n");
        return -1;
    }
    return 0;
}

int ResetDpLdNewVersion() { return SetKeys({"vg_dp_new_version", "vg_ld_new_version"}, "0-0"); }

// The old key is the one that the build before the upgrade went by. When both are there (a package that was
// set back to an old build), its value replaces the other.
int RenameDownloadServerKey() {
    constexpr const char* kOldKey = "vg_client_download_server";
    constexpr const char* kNewKey = "vg_file_download_server";

    std::string server;
    std::string replaced;
    const int found = VGFileGetVal(kSettingsConf, kOldKey, server);
    if (found == 0)
        return 0;
    const int foundNew = found < 0 ? -1 : VGFileGetVal(kSettingsConf, kNewKey, replaced);
    if (foundNew < 0) {
        UPG_LOG("Failed to get %s from settings.conf\n", found < 0 ? kOldKey : kNewKey);
        return -1;
    }
    if (foundNew > 0 && replaced != server)
        UPG_LOG("%s takes the value of %s; its own is dropped.\n", kNewKey, kOldKey);
    if (SetSettingConfValue(kNewKey, server)) {
        UPG_LOG(kFailedToSetFlag, kNewKey);
        return -1;
    }
    if (VGFileRemoveKeys(kSettingsConf, {kOldKey})) {
        UPG_LOG("Failed to remove vg_client_download_server from settings.conf\n");
        return -1;
    }
    return 0;
}

// Written also where the keys are absent: what an absent key means is up to each add-on package.
int DisableDPLocalDisplayAutoUpdate() {
    return SetKeys({"vg_dp_auto_download", "vg_ld_auto_download"}, Bool2String(false));
}

int ChangeAddOnServiceStatus() {
    // An add-on that cannot be told is no failure of the upgrade.
    (void)ChangeServiceStatus(kAddOnService, kServiceAction1);
    return 0;
}

int UpdateH265HwDecodeSettings() {
    constexpr const char* kKey = "upgrade_enable_H265_hw_decode";
    if (SetSettingEnabled(kKey, true))
        UPG_LOG("Failed to set %s in setting conf, skip.\n", kKey);
    return 0;
}

}  // namespace migrations
