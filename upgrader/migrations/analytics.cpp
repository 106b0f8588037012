// Analytics tasks, their events and faces.
#include <string>

#include "platform/settings/settings.h"
#include "upgrader/dataaccess/query_result.h"
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/once.h"

namespace migrations {

// Not settled: the id column of the analytics event tables, by dump and restore.
int FixAnalyticsEvtTableIdColumn() { return 0; }

// Not settled: table iva_setting: people_display_info of people-counting tasks.
int UpdateDvaPeopleDisplayCount() {
    return RunOnce("upgrade_dva_ppl_display_count", kFailedToSetFlag, NotSettled);
}

// Not settled: table iva_setting and the file dva_md_allow under @VGData.
int TouchAllowMotionDetectionFlag() { return 0; }

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

// Not settled: motion detection tasks that become people and vehicle detection.
int UpdateDvaMDToPeopleAndVehicle() { return 0; }

// Not settled: owner of the analytics and face services' files.
int UpdateDvaFaceFilePrivilege() { return 0; }

// Not settled: table ivarecording: results that are detections only.
int UpdateDvaDetectionOnlyResults() {
    return RunOnce("upgrade_dva_detection_only_rec",
                   "Failed to set upgrade_dva_detection_only_rec in setting conf.\n", NotSettled);
}

// Not settled: a retired smart tag of people-counting tasks.
int RemoveDvaSmartTagTooManyPeopleInRegion() { return 0; }

// Not settled: how many face records are kept.
int LimitFaceRecordNumber() { return 0; }

}  // namespace migrations
