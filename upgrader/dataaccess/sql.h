// The statements of migrations. A failure is logged at the caller's place with `failure`, a format that may name the
// statement by one %s, and gives -1.
#pragma once

#include <string>
#include <vector>

#include "platform/vgdb/rows.h"
#include "upgrader/log.h"

inline constexpr const char* kFailedToExecute = "Failed to execute sql: %s\n";

// Runs a query.
[[nodiscard]] int QuerySql(DB_INSTANCE db, const std::string& sql, Rows& rows,
                           const char* failure = kFailedToExecute, LogSite site = LogSite::Here());

// Runs text that gives no rows; an empty one is no work.
[[nodiscard]] int ExecuteSql(DB_INSTANCE db, const std::string& sql, const char* failure = kFailedToExecute,
                             LogSite site = LogSite::Here());

// The same where the database has the table with the columns; where it lacks one there is nothing to do.
[[nodiscard]] int ExecuteIfThere(DB_INSTANCE db, const std::string& table,
                                 const std::vector<std::string>& columns, const std::string& sql,
                                 LogSite site = LogSite::Here());
