#include "platform/vgdb/connection.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>

#include "platform/host/disk_error.h"
#include "platform/log/library_log.h"
#include "platform/vgdb/result.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr size_t kShownOfStatement = 200;

bool g_unitIsOpen = false;

std::map<std::string, Connection>& Connections() {
    static std::map<std::string, Connection> connections;
    return connections;
}

int BindParams(const Statement& statement, std::list<std::string>::const_iterator& param,
               const std::list<std::string>::const_iterator& end) {
    const int count = sqlite3_bind_parameter_count(statement.Get());
    for (int i = 1; i <= count && param != end; ++i, ++param) {
        const int size = static_cast<int>(param->size());
        if (const int code = sqlite3_bind_text(statement.Get(), i, param->data(), size, SQLITE_TRANSIENT))
            return code;
    }
    return SQLITE_OK;
}

enum class TextKind {
    Blank,   // nothing to run
    Query,   // one statement that only reads: needs no transaction and takes no write lock
    Script,  // anything else
};

TextKind KindOf(sqlite3* db, const char* sql) {
    Statement first;
    const char* tail = nullptr;
    // What does not compile may need what an earlier statement creates, or is wrong: running it will tell.
    if (first.Prepare(db, sql, &tail) != SQLITE_OK)
        return TextKind::Script;
    if (!first)
        return TextKind::Blank;
    Statement second;
    const bool more = second.Prepare(db, tail) != SQLITE_OK || second;
    return !more && sqlite3_stmt_readonly(first.Get()) ? TextKind::Query : TextKind::Script;
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

int OpenSqlite(const char* path, int flags, sqlite3** db) {
    // No statistics, which cost a lock an allocation, and no lock a connection: each is used by one thread.
    static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    (void)configured;  // refused when SQLite runs already: it only costs time
    return sqlite3_open_v2(path, db, flags | SQLITE_OPEN_NOMUTEX, nullptr);
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

void CloseAllConnections() { Connections().clear(); }

sqlite3* Connection::Handle() {
    if (m_db)
        return m_db.get();
    sqlite3* db = nullptr;
    const int opened = OpenSqlite(m_path.c_str(), SQLITE_OPEN_READWRITE, &db);
    m_db.reset(db);
    sqlite3_busy_timeout(db, m_patienceMs);
    sqlite3_extended_result_codes(db, 1);
    // A commit is on disk only when the journal's removal is: EXTRA flushes the folder too. Without it a
    // power cut could bring the journal back, and with it the old rows, after a settings flag has been
    // written.
    const char* const durable = "PRAGMA synchronous = EXTRA";
    if (opened != SQLITE_OK || sqlite3_exec(db, durable, nullptr, nullptr, nullptr) != SQLITE_OK) {
        LogFailure("Open", opened != SQLITE_OK ? "" : durable);
        SetPatience(sqlite3_errcode(db));
        m_db.reset();
    }
    return m_db.get();
}

void Connection::LogFailure(const char* function, const char* sql) const {
    const size_t length = std::strlen(sql);
    LibraryLog(__LINE__, function, "%s: %s [%.*s%s]\n", m_path.c_str(), sqlite3_errmsg(m_db.get()),
               static_cast<int>(std::min(length, kShownOfStatement)), sql,
               length > kShownOfStatement ? "..." : "");
}

void Connection::SetPatience(int code) {
    const int patience = (code & 0xff) == SQLITE_BUSY ? kShortPatienceMs : kPatienceMs;
    if (patience != m_patienceMs)
        sqlite3_busy_timeout(m_db.get(), patience);
    m_patienceMs = patience;
}

void Connection::AfterFailure(int code) {
    SetPatience(code);
    // A journal that cannot be opened beside a database that is open is the disk's fault too.
    if ((code & 0xff) == SQLITE_IOERR || (code & 0xff) == SQLITE_CANTOPEN)
        NoteDiskError();
}

int Connection::Run(const std::string& sql, DBResult_tag** result, const std::list<std::string>& params) {
    if (result)
        *result = nullptr;
    if (sql.find('\0') != std::string::npos) {
        LibraryLog(__LINE__, "Execute", "%s: SQL text with a NUL byte is not run\n", m_path.c_str());
        return -1;
    }
    sqlite3* const db = Handle();
    if (!db)
        return -1;

    std::unique_ptr<DBResult_tag> rows;
    const TextKind kind = KindOf(db, sql.c_str());
    int code = SQLITE_OK;
    if (kind == TextKind::Query) {
        code = RunStatements(sql.c_str(), result ? &rows : nullptr, params);
    } else if (kind == TextKind::Script) {
        code = RunInTransaction(sql.c_str(), result ? &rows : nullptr, params);
    }
    if (code != SQLITE_OK) {
        AfterFailure(code);
        return -1;
    }
    SetPatience(code);
    if (result)
        *result = rows ? rows.release() : new DBResult_tag;
    return 0;
}

int Connection::RunInTransaction(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                                 const std::list<std::string>& params) {
    int code = g_unitIsOpen && !m_inUnit ? BeginUnitTransaction() : SQLITE_OK;
    if (code == SQLITE_OK)
        code = Exec(m_inUnit ? "SAVEPOINT call" : "BEGIN IMMEDIATE");
    if (code != SQLITE_OK)
        return code;
    code = RunStatements(sql, rows, params);
    if (code == SQLITE_OK)
        code = Exec(m_inUnit ? "RELEASE call" : "COMMIT");
    // After some failures (disk full, no memory) SQLite has rolled everything back on its own.
    const bool lost = sqlite3_get_autocommit(m_db.get()) != 0;
    if (code != SQLITE_OK && !lost)
        (void)Exec(m_inUnit ? "ROLLBACK TO call; RELEASE call" : "ROLLBACK");
    m_unitLost = m_unitLost || (m_inUnit && lost);
    return code;
}

int Connection::RunStatements(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                              const std::list<std::string>& params) {
    auto param = params.begin();
    while (*sql) {
        Statement statement;
        const char* tail = nullptr;
        int code = statement.Prepare(m_db.get(), sql, &tail);
        if (code == SQLITE_OK && statement)
            code = BindParams(statement, param, params.end());
        if (code == SQLITE_OK && statement)
            code = StepAll(statement, rows);
        if (code != SQLITE_OK) {
            LogFailure("Execute", sql);
            return code;
        }
        sql = tail;
    }
    return SQLITE_OK;
}

void Connection::SetUnitOpen(bool open) { g_unitIsOpen = open; }

bool Connection::IsUnitOpen() { return g_unitIsOpen; }

int Connection::Exec(const std::string& sql) {
    const int code = sqlite3_exec(m_db.get(), sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        LogFailure("Execute", sql.c_str());
        AfterFailure(code);
    }
    return code;
}

int Connection::Attach(const std::string& path, const std::string& schema) {
    if (std::find(m_attached.begin(), m_attached.end(), schema) != m_attached.end())
        return 0;
    if (!Handle() || (!m_inUnit && BeginUnitTransaction() != SQLITE_OK) ||
        Exec("ATTACH " + VGDB::QuoteEscape(path) + " AS " + schema) != SQLITE_OK)
        return -1;
    m_attached.push_back(schema);
    return 0;
}

int Connection::SchemaVersion() const {
    Statement version;
    return version.Prepare(m_db.get(), "PRAGMA schema_version") == SQLITE_OK && version.Step() == SQLITE_ROW
               ? version.Int(0)
               : 0;
}

int Connection::BeginUnitTransaction() {
    if (const int code = Exec("BEGIN IMMEDIATE"); code != SQLITE_OK)
        return code;
    m_inUnit = true;
    m_changesBefore = sqlite3_total_changes(m_db.get());
    m_schemaBefore = SchemaVersion();
    return SQLITE_OK;
}

bool Connection::HasUnitChanged() const {
    return m_inUnit && (m_unitLost || sqlite3_total_changes(m_db.get()) != m_changesBefore ||
                        SchemaVersion() != m_schemaBefore);
}

int Connection::CommitUnit() {
    if (!m_inUnit)
        return 0;
    int code = m_unitLost ? SQLITE_ABORT : SQLITE_OK;
    if (code == SQLITE_OK)
        code = Exec("COMMIT");
    RollbackUnit();
    return code == SQLITE_OK ? 0 : -1;
}

void Connection::RollbackUnit() {
    if (m_inUnit && sqlite3_get_autocommit(m_db.get()) == 0)
        sqlite3_exec(m_db.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    m_inUnit = false;
    m_unitLost = false;
    for (const std::string& schema : m_attached)
        (void)Exec("DETACH " + schema);  // goes with the connection at the latest
    m_attached.clear();
}

int Connection::RunAlone(const char* sql) {
    if (!Handle())
        return -1;
    return Exec(sql) == SQLITE_OK ? 0 : -1;
}
