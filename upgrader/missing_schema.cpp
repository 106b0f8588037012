#include "upgrader/missing_schema.h"

std::vector<VGDB::MissingNames> g_missingSchema(DB_INSTANCE_COUNT);

bool WasSchemaMissing(DB_INSTANCE db, const std::string& table, const std::string& column, LogSite site) {
    if (static_cast<size_t>(db) >= g_missingSchema.size())
        return false;
    const VGDB::MissingNames& missing = g_missingSchema[static_cast<size_t>(db)];
    const auto names = missing.find(table);
    if (names == missing.end() || (!names->second.contains("*") && !names->second.contains(column)))
        return false;
    LogMessage(site, "DB[%d], Detect %s missing %s\n", static_cast<int>(db), table.c_str(), column.c_str());
    return true;
}
