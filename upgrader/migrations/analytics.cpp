// Analytics tasks, their events and faces.
#include <string>

#include "platform/settings/settings.h"
#include "upgrader/dataaccess/query_result.h"
#include "upgrader/migrations.h"
#include "upgrader/once.h"

namespace migrations {

int ShowDvaTaskChangeInfo() {
    // A notice for the user interface, which only those who have tasks need.
    constexpr const char* kFlag = "show_dva_no_idle_name_change_info";
    if (IsSettingConfKeyExist(kFlag) || !VGDB::CheckTableExist(DB_SYSTEM, gszTableIvaSetting))
        return 0;
    QueryResult tasks;
    if (QuerySql(DB_SYSTEM, std::string("SELECT id FROM ") + gszTableIvaSetting + " LIMIT 1;", tasks,
                 "Failed to execute sql: %s\n"))
        return -1;
    if (tasks.NumRows() == 0)
        return 0;
    if (SetSettingConfValue(kFlag, Bool2String(true))) {
        UPG_LOG(kFailedToSetFlag, kFlag);
        return -1;
    }
    return 0;
}

}  // namespace migrations
