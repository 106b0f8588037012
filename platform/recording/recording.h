// Recordings and snapshots: operations that the registry calls. Each returns 0 or a negative value.
#pragma once

namespace RecordingCount {

// Rebuilds table recordingcnt, the recordings of each camera by day, from the recordings.
int Recount();

}  // namespace RecordingCount

// The default recording share; which it is is not settled.
int UpdateDefRecShare();

// Snapshots of cameras that do not exist; what becomes of them is not settled.
int ClearInvalidCamIdInSnapshotTable();
