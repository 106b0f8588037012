// Archive tasks and archived recordings.
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {

int LimitMaxLengthOfArchTaskNameTo32() {
    if (const int found = Guard(DB_SYSTEM, "archive_pull_task", {"name"}); found <= 0)
        return found;
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE archive_pull_task SET name = substr(name, 1, 32) WHERE length(name) > 32;",
                      "Failed to execute sql: %s\n");
}

}  // namespace migrations
