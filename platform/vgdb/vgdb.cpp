#include "platform/vgdb/vgdb.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "platform/base/package_log.h"
#include "platform/base/strings.h"
#include "platform/files/flush_later.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/instances.h"
#include "platform/vgdb/journals.h"
#include "platform/vgdb/read_only.h"
#include "platform/vgdb/rows.h"

bool VGDB::g_blCheckNonRecMode = true;

namespace {

// The folders of what the databases but the main one hold. Returns '' or what is wrong (logged).
std::string FlushFoldersOf(const std::vector<Connection*>& held) {
    for (const Connection* const connection : held) {
        const Folder folder = Folder::Open(std::filesystem::path(connection->Path()).parent_path());
        if (folder && FlushLater(folder))
            continue;
        const std::string problem = "the folder of " + connection->Path() + ": " + std::strerror(errno);
        (void)LogErrno("flush the folder of", connection->Path());
        return problem;
    }
    return VGFilesFlush();
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

std::string VGDB::CommitOthers() {
    std::vector<Connection*> held = AllConnections();
    std::erase_if(held, [main = GetDBPath(DB_SYSTEM)](const Connection* connection) {
        return connection->Path() == main || !(connection->IsHeld() || connection->IsHeldLost());
    });
    // Before the first commit the folders for the journals that were made, after the last one for those that went.
    if (std::string problem = FlushFoldersOf(held); !problem.empty())
        return problem;
    const JournalsAreOnDisk flushed;
    for (Connection* const connection : held)
        if (connection->CommitHeld())
            return connection->Path() + ": " + connection->Reason();
    return FlushFoldersOf(held);
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
