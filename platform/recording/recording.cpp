#include "platform/recording/recording.h"

#include "platform/counts/recount.h"

int RecordingCount::Recount() {
    return RecountByDay({.countedDb = DB_RECORDING,
                         .countedTable = "recording",
                         .timeColumn = "start_time",
                         .keyColumns = {"ds_id", "camera_id"},
                         .countDb = DB_RECORDING_CNT,
                         .countTable = "recordingcnt"});
}

// Not settled: the default recording share.
int UpdateDefRecShare() { return 0; }

// Not settled: what becomes of snapshots of cameras that do not exist.
int ClearInvalidCamIdInSnapshotTable() { return 0; }
