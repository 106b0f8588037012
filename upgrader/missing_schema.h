// What the schema repair of this run found missing.
#pragma once

#include <string>
#include <vector>

#include "platform/vgdb/vgdb.h"
#include "upgrader/log.h"

// One element a database, by DB_INSTANCE; filled by the driver before the first migration.
extern std::vector<VGDB::MissingNames> g_missingSchema;

// Whether the column, or its whole table, was missing before the repair. A yes is logged. For migrations that
// fill a column which has just been created.
bool WasSchemaMissing(DB_INSTANCE db, const std::string& table, const std::string& column,
                      LogSite site = LogSite::Here());
