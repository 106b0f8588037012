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
    for (const Index& index : indexes)
        if (CreateIndex(index, site))
            result = -1;
    return result;
}

// Gives what stands under these names below the target folder to the package's user.
int GiveToPackageUser(const std::vector<std::string>& names, int (*give)(const std::string&, const Owner&),
                      LogSite site = LogSite::Here()) {
    Owner owner;
    if (const int found = FindPackageUser(owner); found <= 0)
        return found < 0 ? LogFailure(site, "Failed to tell the package's user\n") : 0;
    int result = 0;
    for (const std::string& name : names)
        if (give(ResolveEntry(std::string(kTargetDir) + name), owner))
            result = LogFailure(site, "Failed to change the owner of %s\n", name.c_str());
    return result;
}

}  // namespace

namespace migrations {

int CreateTimestampIndex() { return CreateIndexes(kTimestampIndexes); }

int CreateRecordingIndexes() { return CreateIndexes(kRecordingIndexes); }

int UpdateOwnerAndPrivilege() {
    return GiveToPackageUser({VGDB::GetDBName(DB_SYSTEM), VGDB::GetDBName(DB_AXISACSCTRL)}, VGFileChown);
}

int ChangeDBBackupOwner() { return GiveToPackageUser({"@vigilo/@VGDBBackup"}, VGTreeChown); }

int ChangeDBFileOwnerMod() {
    std::vector<std::string> names;
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        names.push_back(VGDB::GetDBName(static_cast<DB_INSTANCE>(db)));
    return GiveToPackageUser(names, VGFileChown);
}

}  // namespace migrations
