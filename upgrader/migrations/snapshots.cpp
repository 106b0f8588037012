// Snapshots.
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {

// The time that a picture shows is a later addition; a live picture shows the time at which it was taken.
int SetVideoTmEqualToCreateTm() {
    return ExecuteIfThere(DB_SNAPSHOT, "snapshot", {"video_time", "create_time"},
                          "UPDATE snapshot SET video_time = create_time"
                          " WHERE IFNULL(video_time, 0) = 0 AND create_time <> 0;");
}

}  // namespace migrations
