// The user-visible log and its limits.
#include "platform/axisacs/axisacs.h"
#include "platform/userlog/adv_log.h"
#include "platform/userlog/recount.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {

int RecountVGLogAndAxisAcsLog() {
    const int logs = VGLogEvent::Recount();
    const int doors = AxisAcsLog::Recount();
    return logs < 0 || doors < 0 ? -1 : 0;
}

int AddAdvLogAndDropAbandoned() {
    return ExecuteSql(DB_SYSTEM, GetAdvLogInsertSql() + GetAbandonAdvLogDelSql(),
                      "Failed to execute sql: %s\n");
}

}  // namespace migrations
