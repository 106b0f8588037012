// Units over all open connections.

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "platform/vgdb/connection.h"
#include "platform/vgdb/vgdb.h"

void VGDB::BeginUnit() { Connection::SetUnitOpen(true); }

bool VGDB::HasUnitChanged(DB_INSTANCE db) { return Connection::To(GetDBPath(db)).HasHeldChanges(); }

bool VGDB::HasUnitChanged() {
    const std::vector<Connection*> all = AllConnections();
    return std::any_of(all.begin(), all.end(), [](const Connection* one) { return one->HasHeldChanges(); });
}

int VGDB::CommitUnit() {
    Connection* const main = &Connection::To(GetDBPath(DB_SYSTEM));
    int result = 0;
    for (Connection* const one : AllConnections())
        if (one != main && result == 0)
            result = one->CommitUnit();
    if (result == 0)
        result = main->CommitUnit();
    RollbackUnit();
    return result;
}

void VGDB::RelaxDurability(DB_INSTANCE db) {
    (void)Connection::To(GetDBPath(db)).RunAlone("PRAGMA synchronous = FULL");
}

int VGDB::JoinUnit(DB_INSTANCE db, std::string& prefix) {
    prefix.clear();
    if (!Connection::IsUnitOpen())
        return -1;
    const std::string schema = "joined" + std::to_string(db);
    // ATTACH would make a file that is not there.
    if (!Connection::To(GetDBPath(db)).Handle() ||
        Connection::To(GetDBPath(DB_SYSTEM)).Attach(GetDBPath(db), schema))
        return -1;
    prefix = schema + ".";
    return 0;
}

void VGDB::RecoverJoined(DB_INSTANCE db) {
    // The first read of a database deals with its journal, which may still need the journal of both.
    const std::string main = GetDBPath(DB_SYSTEM);
    if (Connection::To(main).ReadSchema() || Connection::To(GetDBPath(db)).ReadSchema())
        return;
    const std::filesystem::path path = main;
    const std::string ofBoth = path.filename().string() + "-mj";
    std::error_code ignored;  // what stays does no harm: no journal names it any more
    std::filesystem::directory_iterator entry(path.parent_path(), ignored);
    for (; entry != std::filesystem::directory_iterator(); entry.increment(ignored))
        if (entry->path().filename().string().starts_with(ofBoth))
            std::filesystem::remove(entry->path(), ignored);
}

void VGDB::RollbackUnit() {
    for (Connection* const one : AllConnections())
        one->RollbackHeld();
    Connection::SetUnitOpen(false);
}
