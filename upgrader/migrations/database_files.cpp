// Databases as such: the indexes of tables that grow long, and whose files they are.
#include <set>
#include <string>
#include <vector>

#include "platform/base/package_user.h"
#include "platform/base/paths.h"
#include "platform/files/change_owner.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace {

struct Index {
    DB_INSTANCE db;
    const char* table;
    const char* column;
    const char* condition;
};

// As the schema files declare them.
const std::vector<Index> kTimestampIndexes = {
    {DB_AXISACSEVTLOG, "axisacsevtlog", "timestamp", ""},
    {DB_LOG, "log", "log_time", ""},
};
const std::vector<Index> kRecordingIndexes = {
    {DB_RECORDING, "recording", "update_time", ""},
    {DB_RECORDING, "recording", "start_time", ""},
    {DB_RECORDING, "recording", "stop_time", ""},
    {DB_RECORDING, "recording", "id_on_rec_server", ""},
    {DB_RECORDING, "recording", "ds_id", " WHERE ds_id = 0"},
    {DB_RECORDING, "recording", "recording", " WHERE recording = 1"},
    {DB_RECORDING, "recording", "archived", " WHERE archived = 1"},
    {DB_RECORDING, "recording", "mark_as_del", " WHERE mark_as_del = 1"},
};

int CreateIndex(const Index& index, const LogSite& site) {
    if (const int found = Guard(index.db, index.table, {index.column}, site); found <= 0)
        return found;
    const std::string name = VGDB::GetIdxName(index.table, {index.column});
    Rows present;
    if (QuerySql(index.db,
                 "SELECT 1 FROM sqlite_master WHERE name = " + VGDB::QuoteEscape(name) + " COLLATE NOCASE;",
                 present, kFailedToExecute, site))
        return -1;
    if (present.Count() > 0)
        return 0;
    return ExecuteSql(index.db,
                      "CREATE INDEX IF NOT EXISTS " + name + " ON " + index.table + " (" + index.column +
                          ")" + index.condition + ";",
                      kFailedToExecute, site);
}

int CreateIndexes(const std::vector<Index>& indexes, LogSite site = LogSite::Here()) {
    int result = 0;
    for (const Index& index : indexes) {
        if (CreateIndex(index, site))
            result = -1;
    }
    return result;
}

std::string InTarget(const std::string& name) { return ResolveEntry(std::string(kTargetDir) + name); }

// Returns what FindPackageUser does; -1 is logged.
int FindNewOwner(Owner& owner, const LogSite& site) {
    const int found = FindPackageUser(owner);
    if (found < 0)
        LogMessage(site, "Failed to tell the package's user\n");
    return found;
}

int GiveToPackageUser(const std::vector<DB_INSTANCE>& databases, LogSite site = LogSite::Here()) {
    Owner owner;
    if (const int found = FindNewOwner(owner, site); found <= 0)
        return found;
    int result = 0;
    for (const DB_INSTANCE db : databases) {
        if (VGFileChown(InTarget(VGDB::GetDBName(db)), owner)) {
            LogMessage(site, "Failed to change the owner of %s\n", VGDB::GetDBName(db).c_str());
            result = -1;
        }
    }
    return result;
}

}  // namespace

namespace migrations {

int CreateTimestampIndex() { return CreateIndexes(kTimestampIndexes); }

int CreateRecordingIndexes() { return CreateIndexes(kRecordingIndexes); }

int UpdateOwnerAndPrivilege() { return GiveToPackageUser({DB_SYSTEM, DB_AXISACSCTRL}); }

int ChangeDBBackupOwner() {
    Owner owner;
    if (const int found = FindNewOwner(owner, LogSite::Here()); found <= 0)
        return found;
    if (VGTreeChown(InTarget("@vigilo/@VGDBBackup"), owner) == 0)
        return 0;
    return UPG_FAIL("Failed to change the owner of @VGDBBackup\n");
}

int ChangeDBFileOwnerMod() {
    std::vector<DB_INSTANCE> all;
    all.reserve(DB_INSTANCE_COUNT);
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        all.push_back(static_cast<DB_INSTANCE>(db));
    return GiveToPackageUser(all);
}

}  // namespace migrations
