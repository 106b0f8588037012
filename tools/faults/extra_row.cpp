// A migration that the next build may bring.
#include "platform/vgdb/vgdb.h"
#include "upgrader/migrations.h"

namespace migrations {

// Run twice, it leaves two rows.
int ExtraRow() {
    return VGDB::Execute(DB_SYSTEM,
                         "CREATE TABLE IF NOT EXISTS extra_row(id INTEGER PRIMARY KEY);"
                         "INSERT INTO extra_row DEFAULT VALUES;");
}

}  // namespace migrations
