// The comparison of a database with its schema file. Input: the text of a schema file.
#include <sqlite3.h>

#include <algorithm>
#include <cctype>
#include <string>

#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "fuzz/support/tree.h"
#include "platform/vgdb/schema_compare.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr const char* kDatabase =
    "CREATE TABLE camera(id INTEGER PRIMARY KEY, name TEXT DEFAULT '', mask INTEGER);"
    "CREATE INDEX camera_name ON camera(name);"
    "INSERT INTO camera VALUES(1, 'door', 3), (2, 'gate', NULL), (3, 'door', 4);"
    "CREATE TABLE \"an odd one\"(\"a b\" BLOB, [c]);"
    "CREATE TABLE bare(id);"
    "CREATE VIEW seen AS SELECT name FROM camera;";

// Texts that would leave the database in memory, or run for ever in it.
bool IsTooMuch(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
    for (const char* const word :
         {"attach", "vacuum", "with", "blob(", "printf", "format", "pragma", "join", "replace("})
        if (text.find(word) != std::string::npos)
            return true;
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzTree::Make();
    sqlite3* db = nullptr;
    const bool made = sqlite3_open(VGDB::GetDBPath(DB_SYSTEM).c_str(), &db) == SQLITE_OK &&
                      sqlite3_exec(db, kDatabase, nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    Expect(made, "a database");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(AsText(data, size));
    if (IsTooMuch(text))
        return 0;
    FuzzTree::EmptyLog();
    const std::string path = VGDB::GetDBPath(DB_SYSTEM);
    const std::string schema = FuzzTree::Path("/schema.sql");
    FuzzTree::Write(schema, text);

    VGDB::SchemaDifferences differences;
    if (VGDB::CompareSchema(path, schema, differences))
        return 0;
    VGDB::Hold(VGDB::Holding::Main);
    if (VGDB::Execute(DB_SYSTEM, differences.sql) == 0) {
        VGDB::SchemaDifferences left;
        Expect(VGDB::CompareSchema(path, schema, left) == 0, "what is repaired can be compared");
        Expect(left.sql.empty(), "what is repaired lacks nothing more");
        Expect(left.columnsNotAddable.size() <= differences.columnsNotAddable.size(),
               "nothing more is in the way");
    }
    std::string cameras;
    Expect(VGDB::LoadFirstFieldFromDB(
               DB_SYSTEM, "SELECT group_concat(id || name) FROM (SELECT * FROM camera ORDER BY id)",
               cameras) == 0 &&
               cameras == "1door,2gate,3door",
           "the rows that were there stay");
    VGDB::Hold(VGDB::Holding::None);
    return 0;
}
