#include "platform/vgdb/vgdb.h"

#include "platform/base/strings.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/instances.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/rows.h"

bool VGDB::g_blCheckNonRecMode = true;

// The platform's interface takes the texts by value. NOLINTBEGIN(performance-unnecessary-value-param)
int VGDB::Execute(DB_INSTANCE db, std::string sql, DBResult_tag** result, bool, bool, bool, bool) {
    return Connection::To(GetDBPath(db)).Run(sql, result, {});
}

int VGDB::Executep(const std::string& dbPath, std::string sql, DBResult_tag** result, bool, bool, bool, bool,
                   const std::list<std::string>& params) {
    return Connection::To(dbPath).Run(sql, result, params);
}
// NOLINTEND(performance-unnecessary-value-param)

std::string VGDB::QuoteEscape(const std::string& value) { return '\'' + EscapeString(value) + '\''; }

std::string VGDB::EscapeString(const std::string& value) {
    std::string text;
    for (const char c : value) {
        if (c == '\'')
            text += c;
        text += c;
    }
    return text;
}

int VGDB::LoadFirstFieldFromDB(DB_INSTANCE db, const std::string& sql, std::string& value) {
    Rows rows;
    if (Query(db, sql, rows))
        return -1;
    if (rows.Next() && rows.First())
        value = rows.First();
    return 0;
}

int VGDB::LoadFieldFromDB(DB_INSTANCE db, const std::string& sql, std::list<std::string>& values) {
    Rows rows;
    if (Query(db, sql, rows))
        return -1;
    while (rows.Next())
        values.emplace_back(OrEmpty(rows.First()));
    return 0;
}

long long VGDB::ChangedRows() { return Connection::ChangedRows(); }

void VGDB::HoldTransaction(DB_INSTANCE db) { Connection::To(GetDBPath(db)).Hold(); }

int VGDB::CommitHeld(DB_INSTANCE db, std::chrono::milliseconds patience) {
    return Connection::To(GetDBPath(db)).CommitHeld(patience);
}

void VGDB::RollbackHeld(DB_INSTANCE db) { Connection::To(GetDBPath(db)).RollbackHeld(); }

bool VGDB::HasHeldChanges(DB_INSTANCE db) { return Connection::To(GetDBPath(db)).HasHeldChanges(); }

bool VGDB::IsHeldLost(DB_INSTANCE db) { return Connection::To(GetDBPath(db)).IsHeldLost(); }

int VGDB::ExecuteNow(DB_INSTANCE db, const std::string& sql) {
    return Connection::To(GetDBPath(db)).RunNow(sql);
}

void VGDB::SetAside(DB_INSTANCE db) { Connection::To(GetDBPath(db)).SetAside(); }

void VGDB::SetIncomplete(DB_INSTANCE db, bool incomplete) {
    Connection::To(GetDBPath(db)).SetIncomplete(incomplete);
}

bool VGDB::IsDamaged(DB_INSTANCE db) { return Connection::To(GetDBPath(db)).IsDamaged(); }

void VGDB::SetPatience(std::chrono::milliseconds each, std::chrono::milliseconds together) {
    BusyWait::SetPatience(each, together);
}

void VGDB::OpenReadOnly() {
    SetReadOnly(true);
    SetPatience({}, {});
}

void VGDB::CloseAll() {
    CloseAllConnections();
    ForgetDBPaths();
}

void VGDB::StartAnew() {
    CloseAll();
    ForgetAllConnections();
    Connection::ForgetRepairs();
    BusyWait::SetUsualPatience();
    SetReadOnly(false);
}

void AppendSqlCommand(std::string& batch, const std::string& statement) {
    batch += statement;
    const size_t last = statement.find_last_not_of(" \t\r\n");
    if (last != std::string::npos && statement[last] != ';')
        batch += ';';
}
