// Archive tasks and archived recordings.
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/once.h"

namespace migrations {

// Not settled: table archive_pull_task: last event ids.
int UpdateArchLastEventIdMap() { return 0; }

// Not settled: @archive folders, moved to @ArchiveVault, and their recording_path.
int RenameArchiveFolder() { return 0; }

// Not settled: rotation of archives and time-lapse recordings.
int UpdateArchAndLapseRotParam() { return 0; }

int LimitMaxLengthOfArchTaskNameTo32() {
    if (!VGDB::IsColumnExist(DB_SYSTEM, "archive_pull_task", "name"))
        return 0;
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE archive_pull_task SET name = substr(name, 1, 32) WHERE length(name) > 32;",
                      "Failed to execute sql: %s\n");
}

// Not settled: status of archive and time-lapse tasks that run once.
int UpdateOneTimeArchAndLapseStatus() { return 0; }

// Not settled: archive settings that are integrated into the archive tasks.
int IntegrateArchiveSettingOnce() {
    return RunOnce("upgrade_integrate_archive_setting", kFailedToSetFlag, NotSettled);
}

// Not settled: recording method of archive tasks, kept in their payload.
int ArchRecMethodToPayloadOnce() {
    return RunOnce("upgrade_archiving_rec_method_to_payload", kFailedToSetFlag, NotSettled);
}

}  // namespace migrations
