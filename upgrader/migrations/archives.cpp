// Archive tasks and archived recordings.
#include "upgrader/migrations/migrations.h"

namespace migrations {

// Not settled: table archive_pull_task: last event ids.
int UpdateArchLastEventIdMap() { return 0; }

// Not settled: @archive folders, moved to @ArchiveVault, and their recording_path.
int RenameArchiveFolder() { return 0; }

// Not settled: rotation of archives and time-lapse recordings.
int UpdateArchAndLapseRotParam() { return 0; }

int LimitMaxLengthOfArchTaskNameTo32() { return 0; }

// Not settled: status of archive and time-lapse tasks that run once.
int UpdateOneTimeArchAndLapseStatus() { return 0; }

int IntegrateArchiveSettingOnce() { return 0; }

int ArchRecMethodToPayloadOnce() { return 0; }

}  // namespace migrations
