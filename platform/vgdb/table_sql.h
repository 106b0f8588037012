// Tables as SQL text.
#pragma once

#include <sqlite3.h>

#include <string>

// The name as an SQL identifier, in quotes.
std::string QuoteName(const std::string& name);

// The SQL that makes a table anew: the table, its rows, its indexes and its triggers. Returns SQLite's result
// code; on failure the text is of no use.
int AppendTableSql(sqlite3* db, const std::string& table, std::string& sql);
