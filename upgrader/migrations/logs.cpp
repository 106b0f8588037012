// The user-visible log and its limits.
#include "platform/package/counts.h"
#include "platform/package/interfaces.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {

// Looks at the switches of eight log types, and no build has ever done anything about them.
int TouchLogTypeSettingKeys() { return 0; }

int RecountVGLogAndAxisAcsLog() {
    return LogFailedSteps({{VGLogEvent::Recount(), "Failed to count the log entries anew\n"},
                           {AxisAcsLog::Recount(), "Failed to count the door events anew\n"}});
}

int AddAdvLogAndDropAbandoned() {
    return ExecuteSql(DB_SYSTEM, GetAdvLogInsertSql() + GetAbandonAdvLogDelSql());
}

}  // namespace migrations
