// One connection a database file.
#pragma once

#include <chrono>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "platform/vgdb/busy_wait.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/statement.h"

struct DBResult_tag;

class Connection {
public:
    explicit Connection(const std::string& path) : m_path(path), m_busy(path) {}

    // The connection of a path, for the rest of the run.
    static Connection& To(const std::string& path);

    // Runs a text of any number of statements, whole or not at all. See VGDB::Executep.
    int Run(const std::string& sql, DBResult_tag** result, const std::list<std::string>& params);

    // The same with a transaction and a commit of its own. See VGDB::ExecuteNow.
    int RunNow(const std::string& sql);

    // Reads the schema from the file. Returns SQLite's result code; a failure is logged.
    int ReadSchema();

    // The open handle, or null (logged) when the file cannot be opened or nothing is run on it any more.
    sqlite3* Handle();

    // Closes the file; what is known of it stays known. A transaction that is open is rolled back.
    void Close();

    // Logs SQLite's text about the last failure, with the database and the beginning of the statement.
    void LogFailure(const char* function, const char* sql) const;

    // See VGDB::HoldTransaction.
    void Hold() { m_holding = true; }
    [[nodiscard]] int CommitHeld(std::chrono::milliseconds patience);
    void RollbackHeld();
    bool HasHeldChanges() const { return m_held.changed || m_held.lost; }
    bool IsHeldLost() const { return m_held.lost; }

    void SetAside();
    bool IsDamaged() const { return m_damaged; }

    // See VGDB::SetIncomplete.
    void SetIncomplete(bool incomplete) { m_incomplete = incomplete; }
    bool IsIncomplete() const { return m_incomplete; }

    // See VGDB::BeginRepairs. EndRepairs tells whether commits wait for the flush of the file's folder.
    static void BeginRepairs();
    [[nodiscard]] bool EndRepairs();
    static void ForgetRepairs();

    // See VGDB::ChangedRows.
    static long long ChangedRows();

    const std::string& Path() const { return m_path; }

private:
    // How far the database has been changed, by this connection.
    struct Mark {
        sqlite3_int64 rows = 0;
        int schema = 0;
        bool operator==(const Mark&) const = default;
    };

    // What has become of the transaction that is held.
    struct Held {
        bool open = false;
        bool changed = false;
        bool lost = false;  // SQLite has rolled it back on its own
    };

    bool IsRefused();
    int MakeReady();
    int Open();
    int RunText(const std::string& sql, std::unique_ptr<DBResult_tag>* rows,
                const std::list<std::string>& params);
    int RunInTransaction(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                         const std::list<std::string>& params, bool& unannounced);
    int RunStatements(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                      const std::list<std::string>& params);
    int BeginText(bool held);
    void UndoText(bool alone);
    int Exec(const std::string& sql);
    Mark Now() const;
    void SetRepairDurability();
    void NoteResult(int code);
    void NoteDamage();
    bool IsDoubtful();
    void LoseHeld();

    std::string m_path;
    BusyWait m_busy;
    std::unique_ptr<Reading> m_reading;  // of a program that only reads; ends after the connection
    SqliteHandle m_db;

    bool m_setAside = false;
    bool m_damaged = false;
    bool m_doubtful = false;  // damage was reported, but may have been a failure of the disk
    bool m_refusalTold = false;
    bool m_incomplete = false;

    bool m_holding = false;
    Held m_held;

    bool m_owesFolderFlush = false;
};

// Every connection that has been used.
std::vector<Connection*> AllConnections();

// Closes every connection; the next use opens anew.
void CloseAllConnections();

// Closes them, and forgets what is known of their files.
void ForgetAllConnections();
