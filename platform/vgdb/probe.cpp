// Whether a database can be used.

#include <sqlite3.h>

#include "platform/vgdb/connection.h"
#include "platform/vgdb/instances.h"
#include "platform/vgdb/vgdb.h"

VGDB::DBState VGDB::Probe(DB_INSTANCE db) {
    const std::string path = GetDBPath(db);
    if (IsFileMissing(path))
        return DBState::Missing;
    switch (Connection::To(path).ReadSchema() & 0xff) {
        case SQLITE_OK:
            return DBState::Usable;
        case SQLITE_NOTADB:
            return DBState::NotADatabase;
        case SQLITE_BUSY:
            return DBState::Busy;
        default:
            return DBState::Unreadable;
    }
}
