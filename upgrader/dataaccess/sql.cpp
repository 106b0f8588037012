#include "upgrader/dataaccess/sql.h"

int ExecuteSql(DB_INSTANCE db, const std::string& sql, const char* failure, LogSite site) {
    return VGDB::Execute(db, sql) == 0 ? 0 : LogFailure(site, failure, sql.c_str());
}
