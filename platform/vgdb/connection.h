// One connection a database file.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "platform/vgdb/busy_wait.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/row_watch.h"
#include "platform/vgdb/statement.h"
#include "platform/vgdb/vgdb.h"

class Connection {
public:
    explicit Connection(const std::string& path) : m_path(path), m_busy(path) {}

    // The connection of a path, for the rest of the run.
    static Connection& To(const std::string& path);

    // Runs a text of any number of statements, whole or not at all. See VGDB::Executep.
    int Run(const std::string& sql, DBResult_tag** result, const std::list<std::string>& params);

    // See VGDB::ExecuteLoosely.
    int RunLoosely(const std::string& sql);

    // Reads the schema from the file. Returns SQLite's result code; a failure is logged.
    int ReadSchema();

    // The open handle, or null (logged) when the file cannot be opened or nothing is run on it now.
    sqlite3* Handle();

    // Closes the file; what is known of it stays known. A transaction that is open is rolled back.
    void Close();

    // Logs SQLite's text about the last failure, with the database and the beginning of the statement.
    void LogFailure(const char* function, const char* sql);

    // See VGDB::Hold.
    static void SetHolding(VGDB::Holding holding);
    [[nodiscard]] int CommitHeld();
    void RollbackHeld();
    bool IsHeld() const { return m_isWritten; }
    bool IsHeldLost() const { return m_isLost; }

    // SQLite's text about the last failure.
    const std::string& Reason() const { return m_reason; }

    bool IsDamaged() const { return m_isDamaged; }

    // See VGDB::SetNotRepaired.
    void SetNotRepaired(VGDB::NotRepaired lacks) { m_lacks = std::move(lacks); }
    const VGDB::NotRepaired& Lacks() const { return m_lacks; }

    // See VGDB::ChangedRows.
    static long long ChangedRows();

    const std::string& Path() const { return m_path; }

private:
    int MakeReady();
    int Open();
    bool IsHolding() const;
    int RunText(const std::string& sql, std::unique_ptr<DBResult_tag>* rows,
                const std::list<std::string>& params);
    int RunStatements(Statement& first, const char* sql, const char* tail,
                      std::unique_ptr<DBResult_tag>* rows, const std::list<std::string>& params);
    int Begin();
    int End(int code, sqlite3_int64 changesBefore);
    int Commit();
    void SetDurability();
    int Exec(const std::string& sql);
    void NoteResult(int code);
    void NoteMalformed();
    void Lose();

    std::string m_path;
    BusyWait m_busy;
    std::unique_ptr<Reading> m_reading;    // of a program that only reads; ends after the connection
    std::unique_ptr<RowWatch> m_rowWatch;  // null: nobody watches
    SqliteHandle m_db;
    std::string m_reason;

    bool m_isDamaged = false;
    VGDB::NotRepaired m_lacks;

    bool m_isLoose = false;    // a commit may be undone by a power cut
    bool m_isOpen = false;     // a transaction
    bool m_isWritten = false;  // a text in it has succeeded: it is held
    bool m_isLost = false;     // SQLite has rolled back what was held
    bool m_isLossTold = false;
};

// Every connection that has been used.
std::vector<Connection*> AllConnections();

// Closes every connection; the next use opens anew.
void CloseAllConnections();

// Closes them, and forgets what is known of their files.
void ForgetAllConnections();
