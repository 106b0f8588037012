#include "upgrader/dataaccess/sql.h"

#include "upgrader/dataaccess/guard.h"

int QuerySql(DB_INSTANCE db, const std::string& sql, Rows& rows, const char* failure, LogSite site) {
    return Query(db, sql, rows) == 0 ? 0 : LogFailure(site, failure, sql.c_str());
}

int ExecuteSql(DB_INSTANCE db, const std::string& sql, const char* failure, LogSite site) {
    return sql.empty() || VGDB::Execute(db, sql) == 0 ? 0 : LogFailure(site, failure, sql.c_str());
}

int ExecuteIfThere(DB_INSTANCE db, const std::string& table, const std::vector<std::string>& columns,
                   const std::string& sql, LogSite site) {
    const int found = Guard(db, table, columns, site);
    return found > 0 ? ExecuteSql(db, sql, kFailedToExecute, site) : found;
}
