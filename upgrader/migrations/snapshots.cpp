// Snapshots.
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {

// The time that a picture shows is a later addition; a live picture shows the time at which it was taken.
int SetVideoTmEqualToCreateTm() {
    if (const int found = Guard(DB_SNAPSHOT, "snapshot", {"video_time", "create_time"}); found <= 0)
        return found;
    return ExecuteSql(DB_SNAPSHOT,
                      "UPDATE snapshot SET video_time = create_time"
                      " WHERE IFNULL(video_time, 0) = 0 AND create_time <> 0;",
                      "Failed to execute sql: %s\n");
}

}  // namespace migrations
