#include "platform/settings/settings.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/key_value_file.h"

int FindSetting(const char* key) {
    std::string value;
    return VGFileGetVal(kSettingsConf, key, value);
}

const char* const kBuiltVersion = VG_PACKAGE_VERSION;

bool IsSettingConfKeyExist(const char* key) { return FindSetting(key) > 0; }

int GetSettingsConfValue(const char* key, const char* defaultValue, char* buffer, int size) {
    if (!buffer || size <= 0)
        return -1;
    buffer[0] = '\0';

    std::string value = OrEmpty(defaultValue);
    if (VGFileGetVal(kSettingsConf, key, value) < 0)
        return -1;
    if (value.size() >= static_cast<size_t>(size)) {
        VG_LIB_LOG("Failed to get %s, its value of %zu bytes is too long for %d.\n", key, value.size(), size);
        return -1;
    }
    std::memcpy(buffer, value.c_str(), value.size() + 1);
    return 0;
}

int SetSettingConfValue(const char* key, const std::string& value) {
    return VGFileStoreVal(kSettingsConf, key, value);
}

bool IsSettingEnabled(const char* key, bool defaultValue, bool /*reserved*/) {
    std::string value;
    if (VGFileGetVal(kSettingsConf, key, value) <= 0)
        return defaultValue;
    constexpr std::array kEnabled = {"true", "yes", "on", "1"};
    return std::any_of(kEnabled.begin(), kEnabled.end(),
                       [&](const char* text) { return strcasecmp(value.c_str(), text) == 0; });
}

int SetSettingEnabled(const char* key, bool value, bool /*reserved*/) {
    return SetSettingConfValue(key, Bool2String(value));
}

std::string Bool2String(bool value) { return value ? "true" : "false"; }

int FindVGPkgVersion(std::string& version) {
    version.clear();
    const int found = VGFileGetVal(kPackageConf, "version", version);
    if (version.empty())
        version = kBuiltVersion;
    return found < 0 ? -1 : 0;
}

std::string GetVGPkgVersion(bool withBuild) {
    std::string version;
    (void)FindVGPkgVersion(version);
    return withBuild ? version : version.substr(0, version.rfind('-'));
}
