// Another process that uses a database while the upgrade runs: this one.
#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <memory>

class Hold {
public:
    enum class Kind { Reader, Writer };

    // Begins a transaction that reads, or one that is about to write. A database that is itself held
    // exclusively at that moment is left alone.
    Hold(const std::filesystem::path& database, Kind kind);

private:
    struct Close {
        void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
    };
    std::unique_ptr<sqlite3, Close> m_db;  // its transaction ends with it
};
