#include "upgrader/driver.h"

#include <exception>

#include "platform/host/disk_error.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/log.h"
#include "upgrader/missing_schema.h"

namespace {

int RepairDatabase(DB_INSTANCE db, const std::string& path, UpgradeRecord& record) {
    const std::string sqlFile = VGDB::GetSqlFile(path);
    VGDB::MissingNames& missing = g_missingSchema[static_cast<size_t>(db)];
    std::string sql;
    if (VGDB::GetMissingSql(path, sqlFile, sql, missing))
        return -1;
    if (!sql.empty())
        record.NoteMissing(db, missing);
    return VGDB::Executep(path, sql, nullptr, false, true, true, true, {});
}

// A migration reports by its result; what it throws all the same (no memory left) is its failure, not the
// upgrade's.
int RunMigration(const UpgradeEntry& entry) {
    try {
        return entry.function();
    } catch (const std::exception& error) {
        UPG_LOG("Migration ended by an exception: %s\n", error.what());
        return -1;
    }
}

}  // namespace

bool IsDue(const UpgradeEntry& entry, uint32_t oldBuild) {
    return entry.threshold == 0 || oldBuild < entry.threshold;
}

void RepairSchema(UpgradeRecord& record, LogSite site) {
    for (int number = 0; number < DB_INSTANCE_COUNT; ++number) {
        const auto db = static_cast<DB_INSTANCE>(number);
        const std::string path = VGDB::GetDBPath(db);
        ForgetDiskErrors();
        int failed = RepairDatabase(db, path, record);
        // A disk that fails for a moment must not leave the migrations to run on the old schema.
        if (failed && HadDiskError())
            failed = RepairDatabase(db, path, record);
        if (failed)
            LogMessage(site, "Failed to repair missing schema of %s\n", path.c_str());
    }
}

int DoAction(const UpgradeEntry* table, uint32_t oldBuild, UpgradeRecord& record) {
    for (int i = record.NextRow(); table[i].function; ++i) {
        const UpgradeEntry& entry = table[i];
        if (!IsDue(entry, oldBuild))
            continue;
        if (record.RunUnit(i, [&entry] { return RunMigration(entry); }) < 0)
            UPG_LOG("[%d] update failed, ver [%u], func [%p].\n", i, entry.threshold,
                    reinterpret_cast<void*>(entry.function));
    }
    return record.Result();
}
