#include "platform/vgdb/vgdb.h"

#include <filesystem>
#include <utility>

#include "platform/base/package_log.h"
#include "platform/base/strings.h"
#include "platform/files/flush_later.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/instances.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/rows.h"

bool VGDB::g_blCheckNonRecMode = true;

namespace {

bool FlushFolderLater(const std::string& path) {
    const Folder folder = Folder::Open(std::filesystem::path(path).parent_path());
    return folder && FlushLater(folder);
}

}  // namespace

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

int VGDB::ExecuteLoosely(DB_INSTANCE db, const std::string& sql) {
    return Connection::To(GetDBPath(db)).RunLoosely(sql);
}

void VGDB::Hold(Holding which) {
    for (Connection* const connection : AllConnections())
        connection->RollbackHeld();
    Connection::SetHolding(which);
}

int VGDB::CommitOthers() {
    const std::string main = GetDBPath(DB_SYSTEM);
    for (Connection* const connection : AllConnections()) {
        if (connection->Path() == main)
            continue;
        const bool isHeld = connection->IsHeld();
        if (connection->CommitHeld())
            return -1;
        if (isHeld && !FlushFolderLater(connection->Path()))
            return LogErrno("flush the folder of", connection->Path());
    }
    return 0;
}

int VGDB::CommitMain() {
    const int result = Connection::To(GetDBPath(DB_SYSTEM)).CommitHeld();
    Connection::SetHolding(Holding::None);
    return result;
}

bool VGDB::IsHeldLost(std::string& reason) {
    for (const Connection* const connection : AllConnections())
        if (connection->IsHeldLost()) {
            reason = connection->Path() + ": " + connection->Reason();
            return true;
        }
    return false;
}

std::string VGDB::Reason(DB_INSTANCE db) {
    const std::string path = GetDBPath(db);
    return path + ": " + Connection::To(path).Reason();
}

void VGDB::SetNotRepaired(DB_INSTANCE db, NotRepaired lacks) {
    Connection::To(GetDBPath(db)).SetNotRepaired(std::move(lacks));
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
    Connection::SetHolding(Holding::None);
    BusyWait::SetUsualPatience();
    SetReadOnly(false);
}

void AppendSqlCommand(std::string& batch, const std::string& statement) {
    batch += statement;
    const size_t last = statement.find_last_not_of(" \t\r\n");
    if (last != std::string::npos && statement[last] != ';')
        batch += ';';
}
