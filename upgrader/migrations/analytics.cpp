// Analytics tasks, their events and faces.
#include <string>

#include "platform/base/paths.h"
#include "platform/files/files.h"
#include "platform/files/place.h"
#include "platform/settings/settings.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"
#include "upgrader/once.h"

namespace migrations {
namespace {

// Whether there is an analytics task: 1, 0 or -1.
int FindTask(LogSite site = LogSite::Here()) {
    if (const int found = Guard(DB_SYSTEM, gszTableIvaSetting, {}, site); found <= 0)
        return found;
    Rows tasks;
    if (QuerySql(DB_SYSTEM, std::string("SELECT 1 FROM ") + gszTableIvaSetting + " LIMIT 1;", tasks,
                 kFailedToExecute, site))
        return -1;
    return tasks.Count();
}

}  // namespace

int ShowDvaTaskChangeInfo() {
    // A notice for the user interface, which only those who have tasks need.
    constexpr const char* kFlag = "show_dva_no_idle_name_change_info";
    const int flagged = FindSetting(kFlag);
    if (flagged < 0)
        UPG_LOG("Failed to get %s from settings.conf\n", kFlag);
    if (flagged != 0)
        return flagged < 0 ? -1 : 0;
    if (const int found = FindTask(); found <= 0)
        return found;
    if (SetSettingConfValue(kFlag, Bool2String(true)))
        return UPG_FAIL(kFailedToSetFlag, kFlag);
    return 0;
}

// Allows the motion detection of analytics tasks.
int TouchAllowMotionDetectionFlag() {
    if (const int found = FindTask(); found <= 0)
        return found;
    Place place;
    struct stat status {};
    const std::string path = ResolveEntry(std::string(kTargetDir) + "@VGData/dva_md_allow");
    const int found = FindPlace(path, place, status);
    if (found > 0 || (found == 0 && !place.folder))
        return 0;
    if (found < 0 || VGFileCreate(path, 0644))
        return UPG_FAIL("Failed to create dva_md_allow\n");
    return 0;
}

}  // namespace migrations
