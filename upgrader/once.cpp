#include "upgrader/once.h"

#include <array>
#include <cstdlib>

#include "platform/settings/settings.h"

namespace {

// 1 when the flag is there, 0 when it is not, -1 (logged) when that cannot be told: the work may have been done.
int FindFlag(const char* flag, const LogSite& site) {
    const int found = FindSetting(flag);
    if (found < 0)
        LogMessage(site, "Failed to get %s from settings.conf\n", flag);
    return found;
}

int WriteFlag(const char* flag, const char* failure, const LogSite& site) {
    if (SetSettingConfValue(flag, Bool2String(true)) == 0)
        return 0;
    // The messages of the older migrations name no flag; printf leaves an argument that has no use aside.
    return LogFailure(site, failure, flag);
}

}  // namespace

int FindPreviousRun() {
    std::array<char, 256> stamp{};
    if (GetSettingsConfValue(kStampKey, "0", stamp.data(), static_cast<int>(stamp.size())) < 0)
        return -1;
    return std::strtol(stamp.data(), nullptr, 10) != 0 ? 1 : 0;
}

int RunOnce(const char* flag, const char* failure, MigrationFunction work, LogSite site) {
    if (const int done = FindFlag(flag, site); done != 0)
        return done > 0 ? 0 : -1;
    if (work() < 0)
        return -1;
    return WriteFlag(flag, failure, site);
}

int RunOnceAfterStamp(const char* flag, int resultWhenUnreadable, MigrationFunction work, LogSite site) {
    int result = 0;
    const int ranBefore = FindPreviousRun();
    if (ranBefore < 0) {
        LogMessage(site, "Failed to get %s from settings.conf, skip.\n", kStampKey);
        result = resultWhenUnreadable;
    } else if (ranBefore > 0) {
        const int done = FindFlag(flag, site);
        if (done < 0)
            return -1;
        if (done == 0)
            result = work() < 0 ? -1 : 0;
    }
    return WriteFlag(flag, kFailedToSetFlag, site) < 0 ? -1 : result;
}
