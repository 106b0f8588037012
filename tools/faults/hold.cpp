#include "tools/faults/hold.h"

Hold::Hold(const std::filesystem::path& database, Kind kind) {
    sqlite3* opened = nullptr;
    sqlite3_open_v2(database.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    m_db.reset(opened);
    const char* const begin =
        kind == Kind::Writer ? "BEGIN IMMEDIATE" : "BEGIN; SELECT count(*) FROM sqlite_schema";
    (void)sqlite3_exec(opened, begin, nullptr, nullptr, nullptr);
}
