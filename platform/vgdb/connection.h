// One connection a database file.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "platform/vgdb/statement.h"

struct DBResult_tag;

class Connection {
public:
    explicit Connection(std::string path) : m_path(std::move(path)) {}

    // The connection of a path, for the rest of the run.
    static Connection& To(const std::string& path);

    // Runs a text of any number of statements, whole or not at all. See VGDB::Executep.
    int Run(const std::string& sql, DBResult_tag** result, const std::list<std::string>& params);

    // Runs one statement that SQLite refuses inside a transaction.
    int RunAlone(const char* sql);

    // The open handle, or null (logged) when the file cannot be opened.
    sqlite3* Handle();

    // Logs SQLite's text about the last failure, with the database and the beginning of the statement.
    void LogFailure(const char* function, const char* sql) const;

    // Units: see VGDB::BeginUnit. The transaction of a unit begins with the first text that may write.
    static void SetUnitOpen(bool open);
    static bool IsUnitOpen();

    // Makes another database a schema of this connection until the unit ends.
    [[nodiscard]] int Attach(const std::string& path, const std::string& schema);
    bool HasUnitChanged() const;
    [[nodiscard]] int CommitUnit();
    void RollbackUnit();

private:
    int BeginUnitTransaction();
    int Exec(const std::string& sql);
    int SchemaVersion() const;
    int RunInTransaction(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                         const std::list<std::string>& params);
    int RunStatements(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                      const std::list<std::string>& params);
    void SetPatience(int code);
    void AfterFailure(int code);

    // A database that somebody else holds is waited for. One that stays held for so long is held on purpose
    // (or forgotten): until it is free again, statements give it less, so that an upgrade with hundreds of
    // them comes to its end.
    static constexpr int kPatienceMs = 10'000;
    static constexpr int kShortPatienceMs = 100;

    std::string m_path;
    int m_patienceMs = kPatienceMs;
    SqliteHandle m_db;

    bool m_inUnit = false;    // the transaction of a unit has begun
    bool m_unitLost = false;  // SQLite has rolled it back on its own
    int m_changesBefore = 0;  // rows changed, and version of the schema, when it began
    int m_schemaBefore = 0;
    std::vector<std::string> m_attached;  // schemas of other databases in the unit
};

// Every connection that has been used.
std::vector<Connection*> AllConnections();

// Closes every connection; the next use opens anew.
void CloseAllConnections();
