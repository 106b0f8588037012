// Statements that write.
#pragma once

#include <string>

#include "platform/vgdb/vgdb.h"
#include "upgrader/log.h"

// Runs SQL text that gives no rows. A failure is logged at the caller's place with `failure`, a format that
// may name the text by one %s, and gives -1.
[[nodiscard]] int ExecuteSql(DB_INSTANCE db, const std::string& sql, const char* failure,
                             LogSite site = LogSite::Here());
