// Package settings: keys of settings.conf and what add-on services find there.
#include <initializer_list>
#include <map>
#include <set>
#include <string>

#include "platform/base/paths.h"
#include "platform/package/interfaces.h"
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
        if (SetSettingConfValue(key, value))
            result = LogFailure(site, kFailedToSetFlag, key);
    }
    return result;
}

// Removes keys whose values nothing takes over. What they were stands in the log first: a removal that fails now may
// be delivered when nobody asks any more.
int RemoveKeys(const std::set<std::string>& keys, const char* failure, LogSite site = LogSite::Here()) {
    for (const std::string& key : keys) {
        std::string value;
        const int found = VGFileGetVal(kSettingsConf, key.c_str(), value);
        if (found < 0)
            return LogFailure(site, "%s", failure);
        if (found > 0)
            LogMessage(site, "Removing %s=\"%s\" from settings.conf\n", key.c_str(), value.c_str());
    }
    return VGFileRemoveKeys(kSettingsConf, keys) ? LogFailure(site, "%s", failure) : 0;
}

}  // namespace

namespace migrations {

int UpdateCMSInfo() {
    return RemoveKeys({"vg_cms", "vg_cms_slave"},
                      "Failed to remove vg_cms, vg_cms_slave from settings.conf\n");
}

int UpdateCMSVideoRelayType() {
    return RemoveKeys({"vg_cms_auto_video_relay"},
                      "Failed to remove vg_cms_auto_video_relay in settings.conf.\n");
}

int ResetDpLdNewVersion() { return SetKeys({"vg_dp_new_version", "vg_ld_new_version"}, "0-0"); }

// The old key is the one that the build before the upgrade went by. When both are there (a package that was
// set back to an old build), its value replaces the other; an empty one names no server and replaces nothing.
int RenameDownloadServerKey() {
    constexpr const char* kOldKey = "vg_client_download_server";
    constexpr const char* kNewKey = "vg_file_download_server";

    std::string server;
    std::string replaced;
    const int found = VGFileGetVal(kSettingsConf, kOldKey, server);
    if (found == 0)
        return 0;
    const int foundNew = found < 0 ? -1 : VGFileGetVal(kSettingsConf, kNewKey, replaced);
    if (foundNew < 0)
        return UPG_FAIL("Failed to get %s from settings.conf\n", found < 0 ? kOldKey : kNewKey);
    if (!server.empty()) {
        if (foundNew > 0 && replaced != server)
            UPG_LOG("%s takes the value of %s; its own is dropped: %s=\"%s\"\n", kNewKey, kOldKey, kNewKey,
                    replaced.c_str());
        if (SetSettingConfValue(kNewKey, server))
            return UPG_FAIL(kFailedToSetFlag, kNewKey);
    }
    if (VGFileRemoveKeys(kSettingsConf, {kOldKey}))
        return UPG_FAIL("Failed to remove vg_client_download_server from settings.conf\n");
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

// The maker's update endpoint, as the installed package knows it.
int SetFileDownloadServer() {
    constexpr const char* kPackageKey = "file_download_server";
    constexpr const char* kKey = "vg_file_download_server";
    std::string server;
    if (VGFileGetVal(kPackageConf, kPackageKey, server) < 0)
        return UPG_FAIL("Failed to get %s from package.conf\n", kPackageKey);
    return server.starts_with("https://") ? SetKeys({kKey}, server) : 0;
}

int UpdateH265HwDecodeSettings() {
    constexpr const char* kKey = "upgrade_enable_H265_hw_decode";
    if (SetSettingEnabled(kKey, true))
        UPG_LOG("Failed to set %s in setting conf, skip.\n", kKey);
    return 0;
}

}  // namespace migrations
