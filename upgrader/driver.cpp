#include "upgrader/driver.h"

#include <exception>

#include "platform/userlog/vglog.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/log.h"
#include "upgrader/missing_schema.h"

namespace {

int RepairDatabase(const std::string& path, VGDB::MissingNames& missing) {
    const std::string sqlFile = VGDB::GetSqlFile(path);
    std::string sql;
    if (VGDB::GetMissingSql(path, sqlFile, sql, missing))
        return -1;
    return VGDB::Executep(path, sql, nullptr, false, true, true, true, {});
}

bool IsDue(const UpgradeEntry& entry, uint32_t oldBuild) {
    return entry.threshold == 0 || oldBuild < entry.threshold;
}

// A migration reports by its result; what it throws all the same (no memory left) is its failure, not the
// upgrade's.
int RunMigration(const UpgradeEntry& entry) {
    int result = -1;
    try {
        result = entry.function();
    } catch (const std::exception& error) {
        UPG_LOG("Migration ended by an exception: %s\n", error.what());
    }
    (void)VGLogFlush();  // costs log entries, not the migration; logged there
    return result;
}

}  // namespace

void RepairSchema() {
    g_missingSchema.resize(DB_INSTANCE_COUNT);
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db) {
        const std::string path = VGDB::GetDBPath(static_cast<DB_INSTANCE>(db));
        if (RepairDatabase(path, g_missingSchema[static_cast<size_t>(db)]))
            UPG_LOG("Failed to repair missing schema of %s\n", path.c_str());
    }
}

int DoAction(const UpgradeEntry* table, uint32_t oldBuild) {
    int overall = 0;
    for (int i = 0; table[i].function; ++i) {
        const UpgradeEntry& entry = table[i];
        if (!IsDue(entry, oldBuild))
            continue;
        if (RunMigration(entry) < 0) {
            UPG_LOG("[%d] update failed, ver [%u], func [%p].\n", i, entry.threshold,
                    reinterpret_cast<void*>(entry.function));
            overall = -1;
        }
    }
    return overall;
}
