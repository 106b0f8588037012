#include "upgrader/migrations/notification_mail.h"

#include "upgrader/dataaccess/sql.h"

int migrations::ClearDuplicateNotiMail(LogSite site) {
    if (!VGDB::IsColumnExist(DB_SYSTEM, "notification", "email") ||
        !VGDB::IsColumnExist(DB_SYSTEM, "notification", "email2"))
        return 0;
    return ExecuteSql(DB_SYSTEM, "UPDATE notification SET email2 = '' WHERE email2 = email AND email2 <> '';",
                      "Failed to execute sql: %s\n", site);
}
