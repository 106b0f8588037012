// Archive tasks and archived recordings.
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {

int LimitMaxLengthOfArchTaskNameTo32() {
    if (!VGDB::IsColumnExist(DB_SYSTEM, "archive_pull_task", "name"))
        return 0;
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE archive_pull_task SET name = substr(name, 1, 32) WHERE length(name) > 32;",
                      "Failed to execute sql: %s\n");
}

}  // namespace migrations
