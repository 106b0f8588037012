// Archive tasks and archived recordings.
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {

int LimitMaxLengthOfArchTaskNameTo32() {
    return ExecuteIfThere(DB_SYSTEM, "archive_pull_task", {"name"},
                          "UPDATE archive_pull_task SET name = substr(name, 1, 32) WHERE length(name) > 32;");
}

}  // namespace migrations
