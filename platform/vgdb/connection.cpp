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
#include "platform/base/once_more.h"
#include "platform/base/package_log.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/result.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr size_t kShownOfStatement = 200;

long long g_changedRows = 0;
VGDB::Holding g_holding = VGDB::Holding::None;

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

// Whether nothing stands in the text any more.
bool IsBlank(const char* sql) { return sql[std::strspn(sql, " \t\r\n;")] == '\0'; }

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

sqlite3* Connection::Handle() { return MakeReady() == SQLITE_OK ? m_db.get() : nullptr; }

int Connection::MakeReady() {
    if (m_isLost) {
        if (!std::exchange(m_isLossTold, true))
            LibraryLog(__LINE__, "Execute",
                       "%s: its transaction was rolled back, nothing is run on it before that is known\n",
                       m_path.c_str());
        return SQLITE_ABORT;
    }
    return m_db ? SQLITE_OK : OnceMore([this] { return Open(); });
}

int Connection::Open() {
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
    m_rowWatch = RowWatch::Of(db, m_path);
    return code;
}

void Connection::Close() {
    m_db.reset();
    m_reading.reset();
    m_busy.NeverWait(false);
    m_isOpen = m_isWritten = m_isLost = false;
}

void Connection::LogFailure(const char* function, const char* sql) {
    m_reason = sqlite3_errmsg(m_db.get());
    const size_t length = std::strlen(sql);
    LibraryLog(__LINE__, function, "%s: %s [%.*s%s]\n", m_path.c_str(), m_reason.c_str(),
               static_cast<int>(std::min(length, kShownOfStatement)), sql,
               length > kShownOfStatement ? "..." : "");
}

// What follows from the result of a text, beside its failure. Nothing uses the handle after it.
void Connection::NoteResult(int code) {
    const int primary = Primary(code);
    // A journal that cannot be opened beside a database that is open is the disk's fault too.
    if (primary == SQLITE_IOERR || primary == SQLITE_CANTOPEN || primary == SQLITE_NOMEM)
        NoteDiskError();
    // After some failures (disk full, no memory, also those of a query) SQLite has rolled everything back.
    if (m_isOpen && sqlite3_get_autocommit(m_db.get()) != 0)
        Lose();
    if (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB)
        NoteMalformed();
}

// SQLite reports a read that the disk has refused as damage too. It is taken for that when a fresh connection says so,
// and else tried again.
void Connection::NoteMalformed() {
    if (m_isDamaged)
        return;
    if (m_isOpen)
        Lose();
    m_db.reset();
    sqlite3* db = nullptr;
    int code = OpenSqlite(m_path.c_str(), SQLITE_OPEN_READONLY, &db);
    const SqliteHandle fresh(db);
    Statement check;
    if (code == SQLITE_OK)
        code = check.Prepare(db, "PRAGMA integrity_check(1)");
    if (code == SQLITE_OK)
        code = check.Step();
    m_isDamaged = Primary(code) == SQLITE_CORRUPT || Primary(code) == SQLITE_NOTADB ||
                  (code == SQLITE_ROW && check.String(0) != "ok");
    if (m_isDamaged)
        LibraryLog(__LINE__, "Execute", "Damaged, not written to any more: %s\n", m_path.c_str());
    else
        NoteDiskError();
}

// What the transaction stood for is gone, which the program has to hear.
void Connection::Lose() {
    if (m_rowWatch && m_isWritten)
        m_rowWatch->TellUndone();
    if (m_db && sqlite3_get_autocommit(m_db.get()) == 0)
        sqlite3_exec(m_db.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    m_busy.NeverWait(false);
    m_isLost = m_isLost || m_isWritten;
    m_isOpen = m_isWritten = false;
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
        m_reason = error.what();
        Lose();
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
    int code = SQLITE_OK;
    {
        Statement first;
        const char* tail = nullptr;
        code = first.Prepare(db, sql.c_str(), &tail);
        if (code != SQLITE_OK) {
            LogFailure("Execute", sql.c_str());
        } else if (IsBlank(tail) && (!first || sqlite3_stmt_readonly(first.Get()))) {
            // It only reads, or does nothing: it needs no transaction, and takes no write lock.
            code = RunStatements(first, sql.c_str(), tail, rows, params);
        } else if (m_isDamaged) {
            return -1;
        } else if (IsReadOnly()) {
            LibraryLog(__LINE__, "Execute", "%s: this program changes nothing\n", m_path.c_str());
            return -1;
        } else {
            RowWatch::Call watched(m_rowWatch.get());
            code = Begin();
            const sqlite3_int64 before = sqlite3_total_changes64(db);
            if (code == SQLITE_OK)
                code = RunStatements(first, sql.c_str(), tail, rows, params);
            first.Finalize();
            code = End(code, before);
            if (code == SQLITE_OK)
                watched.Keep();
        }
    }
    NoteResult(code);
    return code == SQLITE_OK ? 0 : -1;
}

int Connection::RunLoosely(const std::string& sql) {
    m_isLoose = true;
    const int result = Run(sql, nullptr, {});
    m_isLoose = false;
    return result;
}

bool Connection::IsHolding() const {
    return g_holding == VGDB::Holding::All ||
           (g_holding == VGDB::Holding::Main && m_path == VGDB::GetDBPath(DB_SYSTEM));
}

// A text has a transaction of its own, or, behind others in one that is held, a savepoint.
int Connection::Begin() {
    if (m_isWritten)
        return Exec("SAVEPOINT call");
    if (!m_isOpen) {
        SetDurability();
        if (const int code = Exec("BEGIN IMMEDIATE"); code != SQLITE_OK)
            return code;
        m_isOpen = true;
        m_busy.NeverWait(true);
    }
    return SQLITE_OK;
}

int Connection::End(int code, sqlite3_int64 changesBefore) {
    const sqlite3_int64 changed = sqlite3_total_changes64(m_db.get()) - changesBefore;
    if (code == SQLITE_OK && m_isWritten)
        code = Exec("RELEASE call");
    else if (code == SQLITE_OK && !IsHolding())
        code = Commit();
    if (code == SQLITE_OK) {
        m_isWritten = IsHolding();
        g_changedRows += changed;
        return code;
    }
    if (m_isOpen && sqlite3_get_autocommit(m_db.get()) == 0) {
        if (m_isWritten)
            sqlite3_exec(m_db.get(), "ROLLBACK TO call; RELEASE call", nullptr, nullptr, nullptr);
        else
            Lose();
    }
    return code;
}

int Connection::Commit() {
    m_busy.NeverWait(false);
    const int code = Exec("COMMIT");
    m_isOpen = sqlite3_get_autocommit(m_db.get()) == 0;
    return code;
}

// A commit that must be on disk when it returns flushes journal, database and folder (EXTRA), the folder a last time
// after the removal of the journal: a journal that a power cut brings back undoes the commit. What all databases but
// the main one hold is undone so without harm until that one is committed; before that the caller flushes the folders,
// once. In a database that was empty there is nothing that a half-written journal could spoil.
void Connection::SetDurability() {
    const char* mode = m_isLoose ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = EXTRA";
    if (g_holding == VGDB::Holding::All && m_path != VGDB::GetDBPath(DB_SYSTEM)) {
        Statement pages;
        const bool empty = pages.Prepare(m_db.get(), "PRAGMA page_count") == SQLITE_OK &&
                           pages.Step() == SQLITE_ROW && pages.Int(0) == 0;
        mode = empty ? "PRAGMA synchronous = NORMAL" : "PRAGMA synchronous = FULL";
    }
    (void)Exec(mode);
}

int Connection::RunStatements(Statement& first, const char* sql, const char* tail,
                              std::unique_ptr<DBResult_tag>* rows, const std::list<std::string>& params) {
    auto param = params.begin();
    Statement next;
    for (Statement* statement = &first;; statement = &next) {
        int code = SQLITE_OK;
        if (statement == &next)
            code = next.Prepare(m_db.get(), sql, &tail);
        try {
            while (code == SQLITE_OK && *statement) {
                const auto bound = param;
                code = BindParams(*statement, param, params.end());
                if (code == SQLITE_OK)
                    code = StepAll(*statement, rows);
                if (!IsBlank(tail) || param == bound || param == params.end())
                    break;
                sqlite3_reset(statement->Get());
            }
        } catch (const std::bad_alloc&) {
            m_reason = "out of memory";
            LibraryLog(__LINE__, "Execute", "%s: no memory for the rows of a query\n", m_path.c_str());
            return SQLITE_NOMEM;
        }
        if (code != SQLITE_OK) {
            LogFailure("Execute", sql);
            return code;
        }
        if (*tail == '\0')
            return SQLITE_OK;
        sql = tail;
    }
}

int Connection::Exec(const std::string& sql) {
    const int code = sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK)
        LogFailure("Execute", sql.c_str());
    return code;
}

int Connection::ReadSchema() {
    return OnceMore([this] {
        int code = MakeReady();
        if (code == SQLITE_OK) {
            code = Exec("SELECT 1 FROM sqlite_schema");
            NoteResult(code);
        }
        return code;
    });
}

int Connection::CommitHeld() {
    int code = m_isLost ? SQLITE_ABORT : SQLITE_OK;
    if (m_isOpen) {
        code = Commit();
        if (code != SQLITE_OK)
            Lose();
        NoteResult(code);
    }
    m_isWritten = m_isOpen;
    if (code != SQLITE_OK)
        return -1;
    return 0;
}

void Connection::RollbackHeld() {
    Lose();
    m_isLost = m_isLossTold = false;
}

void Connection::SetHolding(VGDB::Holding holding) { g_holding = holding; }
