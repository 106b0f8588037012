#include "upgrader/dataaccess/sql.h"

int ExecuteSql(DB_INSTANCE db, const std::string& sql, const char* failure, LogSite site) {
    if (VGDB::Execute(db, sql) == 0)
        return 0;
    LogMessage(site, failure, sql.c_str());
    return -1;
}
