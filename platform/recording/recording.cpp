#include "platform/recording/recording.h"

int RecordingCount::Recount() { return 0; }

int UpdateDefRecShare() { return 0; }

int ClearInvalidCamIdInSnapshotTable() { return 0; }
