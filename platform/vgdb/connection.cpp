#include "platform/vgdb/connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <utility>

#include "platform/base/disk_error.h"
#include "platform/base/first_change.h"
#include "platform/base/library_log.h"
#include "platform/base/once_more.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/result.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr size_t kShownOfStatement = 200;

bool g_repairing = false;
long long g_changedRows = 0;

// Without the detail of an extended code.
int Primary(int code) { return code & 0xff; }

std::map<std::string, Connection>& Connections() {
    static std::map<std::string, Connection> connections;
    return connections;
}

// The parameters have to outlive the statement.
int BindParams(const Statement& statement, std::list<std::string>::const_iterator& param,
               const std::list<std::string>::const_iterator& end) {
    const int count = sqlite3_bind_parameter_count(statement.Get());
    for (int i = 1; i <= count && param != end; ++i, ++param) {
        const int size = static_cast<int>(param->size());
        if (const int code = sqlite3_bind_text(statement.Get(), i, param->data(), size, SQLITE_STATIC))
            return code;
    }
    return SQLITE_OK;
}

enum class TextKind {
    Blank,   // nothing to run
    Query,   // one statement that only reads: needs no transaction and takes no write lock
    Script,  // anything else
};

// Returns SQLite's result code when the database cannot be read.
int FindKind(sqlite3* db, const char* sql, TextKind& kind) {
    Statement first;
    const char* tail = nullptr;
    kind = TextKind::Script;
    if (const int code = first.Prepare(db, sql, &tail); code != SQLITE_OK) {
        // What does not compile may need what an earlier statement creates, or is wrong: running it will
        // tell.
        return Primary(code) == SQLITE_ERROR ? SQLITE_OK : code;
    }
    if (!first) {
        kind = TextKind::Blank;
        return SQLITE_OK;
    }
    Statement second;
    const bool more = second.Prepare(db, tail) != SQLITE_OK || second;
    if (!more && sqlite3_stmt_readonly(first.Get()))
        kind = TextKind::Query;
    return SQLITE_OK;
}

// Steps a statement to its end; keeps its rows when a result is wanted and it gives any.
int StepAll(Statement& statement, std::unique_ptr<DBResult_tag>* rows) {
    const int columns = sqlite3_column_count(statement.Get());
    const bool keep = rows && columns > 0;
    if (keep) {
        *rows = std::make_unique<DBResult_tag>();
        for (int column = 0; column < columns; ++column)
            (*rows)->columns.emplace_back(sqlite3_column_name(statement.Get(), column));
    }
    int code = statement.Step();
    for (; code == SQLITE_ROW; code = statement.Step()) {
        for (int column = 0; keep && column < columns; ++column) {
            const char* const text = statement.Text(column);
            (*rows)->AppendField(text, static_cast<size_t>(sqlite3_column_bytes(statement.Get(), column)));
        }
    }
    return code == SQLITE_DONE ? SQLITE_OK : code;
}

}  // namespace

int OpenSqlite(const char* path, int flags, sqlite3** db, const char* vfs) {
    // No statistics, which cost a lock an allocation, and no lock a connection: each is used by one thread.
    static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    (void)configured;  // refused when SQLite runs already: it only costs time
    return sqlite3_open_v2(path, db, flags | SQLITE_OPEN_NOMUTEX, vfs);
}

Connection& Connection::To(const std::string& path) {
    return Connections().try_emplace(path, path).first->second;
}

std::vector<Connection*> AllConnections() {
    std::vector<Connection*> all;
    for (auto& [path, connection] : Connections())
        all.push_back(&connection);
    return all;
}

void CloseAllConnections() {
    for (auto& [path, connection] : Connections())
        connection.Close();
}

void ForgetAllConnections() { Connections().clear(); }

long long Connection::ChangedRows() { return g_changedRows; }

// Whether nothing at all is run on the database now, which is logged once.
bool Connection::IsRefused() {
    if (!m_setAside && !m_held.lost)
        return false;
    if (!m_refusalTold)
        LibraryLog(__LINE__, "Execute", "%s: %s\n", m_path.c_str(),
                   m_setAside ? "set aside, nothing is run on it any more"
                              : "its transaction was rolled back, nothing is run on it before that is known");
    m_refusalTold = true;
    return true;
}

sqlite3* Connection::Handle() { return MakeReady() == SQLITE_OK ? m_db.get() : nullptr; }

int Connection::MakeReady() {
    if (IsRefused())
        return SQLITE_ABORT;
    return m_db ? SQLITE_OK : OnceMore([this] { return Open(); });
}

int Connection::Open() {
    m_busy.Expect(false);
    sqlite3* db = nullptr;
    int code = SQLITE_OK;
    if (IsReadOnly()) {
        m_reading = std::make_unique<Reading>();
        code = m_reading->Open(m_path, m_busy, &db);
    } else {
        code = OpenSqlite(m_path.c_str(), SQLITE_OPEN_READWRITE, &db);
        if (code == SQLITE_OK && sqlite3_db_readonly(db, "main") == 1) {
            // SQLite takes what it can get. A file that could not be opened for writing for a moment must not
            // stay so for the whole run.
            sqlite3_close(db);
            code = OpenSqlite(m_path.c_str(), SQLITE_OPEN_READWRITE, &db);
        }
    }
    m_db.reset(db);
    if (code != SQLITE_OK) {
        if (db)
            LogFailure("Open", "");
        NoteErrno(sqlite3_system_errno(db));
        m_db.reset();
        return code;
    }
    sqlite3_extended_result_codes(db, 1);
    m_busy.Attach(db);
    // A commit is on disk only when the journal's removal is: EXTRA flushes the folder too. Without it a
    // power cut could bring the journal back, and with it the old rows, after a settings flag has been
    // written.
    code = Exec("PRAGMA synchronous = EXTRA");
    if (code != SQLITE_OK) {
        NoteResult(code);
        m_db.reset();
    }
    return code;
}

void Connection::Close() {
    m_db.reset();
    m_reading.reset();
    m_holding = false;
    m_held = {};
}

void Connection::LogFailure(const char* function, const char* sql) const {
    const size_t length = std::strlen(sql);
    LibraryLog(__LINE__, function, "%s: %s [%.*s%s]\n", m_path.c_str(), sqlite3_errmsg(m_db.get()),
               static_cast<int>(std::min(length, kShownOfStatement)), sql,
               length > kShownOfStatement ? "..." : "");
}

// What follows from the result of a statement, beside its failure.
void Connection::NoteResult(int code) {
    m_busy.NoteResult(code);
    const int primary = Primary(code);
    // A journal that cannot be opened beside a database that is open is the disk's fault too.
    if (primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN)
        NoteDiskError();
    if (primary != SQLITE_CORRUPT && primary != SQLITE_NOTADB)
        m_doubtful = false;
    else if (IsDoubtful())
        NoteDiskError();
    else
        NoteDamage();
    // After some failures (disk full, no memory, also those of a query) SQLite has rolled everything back.
    if (m_held.open && sqlite3_get_autocommit(m_db.get()) != 0)
        LoseHeld();
}

// SQLite reports a read that the disk has refused as damage. It is taken for that when the second try ends so
// too.
bool Connection::IsDoubtful() {
    int error = 0;
    sqlite3_file_control(m_db.get(), "main", SQLITE_FCNTL_LAST_ERRNO, &error);
    m_doubtful = !m_doubtful && (error == EIO || error == ENXIO);
    return m_doubtful;
}

void Connection::NoteDamage() {
    if (!m_damaged)
        LibraryLog(__LINE__, "Execute", "Damaged, not written to any more: %s\n", m_path.c_str());
    m_damaged = true;
    if (m_held.open)
        LoseHeld();
}

// Rolls back what is held. What it stood for is gone, which the program has to hear.
void Connection::LoseHeld() {
    if (sqlite3_get_autocommit(m_db.get()) == 0)
        sqlite3_exec(m_db.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    m_held = {.open = false, .changed = false, .lost = m_held.changed};
}

void Connection::SetAside() {
    if (m_held.open)
        LoseHeld();
    m_setAside = true;
    m_refusalTold = false;
}

int Connection::Run(const std::string& sql, DBResult_tag** result, const std::list<std::string>& params) {
    if (result)
        *result = nullptr;
    try {
        auto rows = std::make_unique<DBResult_tag>();
        if (OnceMore([&] { return RunText(sql, result ? &rows : nullptr, params); }))
            return -1;
        if (result)
            *result = rows.release();
        return 0;
    } catch (const std::exception& error) {
        // Wherever it came from: nothing half done stays open.
        if (m_held.open)
            LoseHeld();
        else if (m_db && sqlite3_get_autocommit(m_db.get()) == 0)
            sqlite3_exec(m_db.get(), "ROLLBACK", nullptr, nullptr, nullptr);
        LibraryLog(__LINE__, "Execute", "%s: %s\n", m_path.c_str(), error.what());
        return -1;
    }
}

int Connection::RunText(const std::string& sql, std::unique_ptr<DBResult_tag>* rows,
                        const std::list<std::string>& params) {
    if (sql.find('\0') != std::string::npos) {
        LibraryLog(__LINE__, "Execute", "%s: SQL text with a NUL byte is not run\n", m_path.c_str());
        return -1;
    }
    sqlite3* const db = Handle();
    if (!db)
        return -1;
    TextKind kind = TextKind::Blank;
    bool unannounced = false;
    m_busy.Expect(false);
    int code = FindKind(db, sql.c_str(), kind);
    if (code != SQLITE_OK) {
        LogFailure("Execute", sql.c_str());
    } else if (kind == TextKind::Query) {
        code = RunStatements(sql.c_str(), rows, params);
    } else if (kind == TextKind::Script) {
        if (m_damaged)
            return -1;
        if (IsReadOnly()) {
            LibraryLog(__LINE__, "Execute", "%s: this program changes nothing\n", m_path.c_str());
            return -1;
        }
        m_busy.Expect(true);
        code = RunInTransaction(sql.c_str(), rows, params, unannounced);
    }
    NoteResult(code);
    if (unannounced) {
        AnnounceChange();
        return RunText(sql, rows, params);
    }
    return code == SQLITE_OK ? 0 : -1;
}

// Many texts change nothing, and only a first run knows which. So a text that turns out to change something
// before that was announced is undone, announced by the caller, and run again.
int Connection::RunInTransaction(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                                 const std::list<std::string>& params, bool& unannounced) {
    const bool held = m_holding;
    const bool alone = !held || !m_held.open;  // nothing stands before the text in its transaction
    if (const int code = BeginText(held); code != SQLITE_OK)
        return code;
    const Mark before = Now();
    int code = RunStatements(sql, rows, params);
    const Mark after = Now();
    unannounced = code == SQLITE_OK && after != before && IsFirstChangeAwaited();
    if (code == SQLITE_OK && !unannounced)
        code = Exec(held ? "RELEASE call" : "COMMIT");
    if (code != SQLITE_OK || unannounced) {
        UndoText(alone);
        return code;
    }
    g_changedRows += after.rows - before.rows;
    m_held.changed = m_held.changed || (held && after != before);
    return SQLITE_OK;
}

int Connection::BeginText(bool held) {
    if (!held) {
        if (g_repairing)
            SetRepairDurability();
        return Exec("BEGIN IMMEDIATE");
    }
    if (!m_held.open) {
        if (const int code = Exec("BEGIN IMMEDIATE"); code != SQLITE_OK)
            return code;
        m_held.open = true;
    }
    return Exec("SAVEPOINT call");
}

void Connection::UndoText(bool alone) {
    if (sqlite3_get_autocommit(m_db.get()) == 0)
        (void)Exec(alone ? "ROLLBACK" : "ROLLBACK TO call; RELEASE call");
    if (alone)
        m_held.open = false;
}

Connection::Mark Connection::Now() const {
    Statement version;
    const bool read =
        version.Prepare(m_db.get(), "PRAGMA schema_version") == SQLITE_OK && version.Step() == SQLITE_ROW;
    return {sqlite3_total_changes64(m_db.get()), read ? version.Int(0) : 0};
}

int Connection::RunStatements(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                              const std::list<std::string>& params) {
    auto param = params.begin();
    while (*sql) {
        Statement statement;
        const char* tail = nullptr;
        int code = statement.Prepare(m_db.get(), sql, &tail);
        try {
            const bool isLast = code == SQLITE_OK && tail[std::strspn(tail, " \t\r\n")] == '\0';
            while (code == SQLITE_OK && statement) {
                const auto bound = param;
                code = BindParams(statement, param, params.end());
                if (code == SQLITE_OK)
                    code = StepAll(statement, rows);
                if (!isLast || param == bound || param == params.end())
                    break;
                sqlite3_reset(statement.Get());
            }
        } catch (const std::bad_alloc&) {
            LibraryLog(__LINE__, "Execute", "%s: no memory for the rows of a query\n", m_path.c_str());
            return SQLITE_NOMEM;
        }
        if (code != SQLITE_OK) {
            LogFailure("Execute", sql);
            return code;
        }
        sql = tail;
    }
    return SQLITE_OK;
}

int Connection::Exec(const std::string& sql) {
    const int code = sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        LogFailure("Execute", sql.c_str());
    return code;
}

int Connection::RunNow(const std::string& sql) {
    if (m_held.changed || m_held.lost) {
        LibraryLog(__LINE__, "ExecuteNow", "%s: a transaction is open\n", m_path.c_str());
        return -1;
    }
    // A transaction that has begun and changed nothing begins anew with the next text.
    if (m_held.open && Exec("COMMIT") != SQLITE_OK)
        return -1;
    m_held.open = false;
    const bool holding = std::exchange(m_holding, false);
    const bool repairing =
        std::exchange(g_repairing, false);  // this commit is to last, whatever else is under way
    const long long counted = g_changedRows;
    const int result = Run(sql, nullptr, {});
    g_changedRows = counted;
    g_repairing = repairing;
    m_holding = holding;
    return result;
}

int Connection::ReadSchema() {
    return OnceMore([this] {
        int code = MakeReady();
        if (code == SQLITE_OK) {
            m_busy.Expect(false);
            code = Exec("SELECT 1 FROM sqlite_schema");
            NoteResult(code);
        }
        return code;
    });
}

int Connection::CommitHeld(std::chrono::milliseconds patience) {
    int code = m_held.lost ? SQLITE_ABORT : SQLITE_OK;
    if (m_held.open) {
        m_busy.Expect(true);
        m_busy.SetOwnPatience(patience);
        code = Exec("COMMIT");
        m_busy.SetOwnPatience(std::nullopt);
        const bool stillOpen = sqlite3_get_autocommit(m_db.get()) == 0;
        m_held.open = stillOpen;
        NoteResult(code);
    }
    RollbackHeld();
    return code == SQLITE_OK ? 0 : -1;
}

void Connection::RollbackHeld() {
    if (m_held.open)
        (void)Exec("ROLLBACK");
    m_held = {};
    m_holding = false;
    m_refusalTold = m_setAside && m_refusalTold;
}

void Connection::BeginRepairs() { g_repairing = true; }

void Connection::SetRepairDurability() {
    Statement pages;
    const bool empty = pages.Prepare(m_db.get(), "PRAGMA page_count") == SQLITE_OK &&
                       pages.Step() == SQLITE_ROW && pages.Int(0) == 0;
    (void)Exec(empty ? "PRAGMA synchronous = NORMAL" : "PRAGMA synchronous = FULL");
    m_owesFolderFlush = true;
}

bool Connection::EndRepairs() {
    g_repairing = false;
    if (m_owesFolderFlush && m_db)
        (void)Exec("PRAGMA synchronous = EXTRA");
    return std::exchange(m_owesFolderFlush, false);
}

void Connection::ForgetRepairs() { g_repairing = false; }
