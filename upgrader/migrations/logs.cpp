// The user-visible log and its limits.
#include "platform/userlog/adv_log.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations/migrations.h"

namespace migrations {

// Not settled: table log: groups and item ids.
int UpgradeLogWithGrpAndItemId() { return 0; }

// Not settled: settings keys of eight log types; nothing is written.
int TouchLogTypeSettingKeys() { return 0; }

// Not settled: table log: user names.
int UpdateLogUserName() { return 0; }

// Not settled: table log_rotate_settings: how many log archives are kept.
int ChangeDefaultLogArchiveNumLimit() { return 0; }

int AddAdvLogAndDropAbandoned() {
    return ExecuteSql(DB_SYSTEM, GetAdvLogInsertSql() + GetAbandonAdvLogDelSql(),
                      "Failed to execute sql: %s\n");
}

}  // namespace migrations
