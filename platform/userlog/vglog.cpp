#include "platform/userlog/vglog.h"

#include <cstdlib>
#include <ctime>
#include <utility>

#include "platform/support/json.h"
#include "platform/support/strings.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr const char* kTable = "log";

// Rows of one INSERT. To prepare a statement costs more than to insert a row; a statement of all rows would
// cost SQLite memory for all of them at once.
constexpr size_t kRowsPerInsert = 200;

std::vector<UserLogEntry>& Noted() {
    static std::vector<UserLogEntry> noted;
    return noted;
}

std::string ParamsToJson(const std::vector<std::string>& params) {
    Json::Value array(Json::arrayValue);
    for (const std::string& param : params)
        array.append(param);
    return JsonWrite(array, true);
}

}  // namespace

void VGLog(int logType, const std::string& user, int itemId, const std::vector<std::string>& params, int dsId,
           long extra) {
    Noted().push_back({.logType = logType,
                       .user = user,
                       .itemId = itemId,
                       .params = ParamsToJson(params),
                       .dsId = dsId,
                       .time = static_cast<long long>(std::time(nullptr)),
                       .extra = extra});
}

std::vector<UserLogEntry> VGLogTake() { return std::exchange(Noted(), {}); }

int VGLogFind() {
    switch (VGDB::Probe(DB_LOG)) {
        case VGDB::DBState::Usable:
            return VGDB::FindTable(DB_LOG, kTable);
        case VGDB::DBState::Missing:
        case VGDB::DBState::NotADatabase:
            return 0;
        default:
            return -1;
    }
}

int VGLogLastId(long long& id) {
    std::string last;
    if (VGDB::LoadFirstFieldFromDB(DB_LOG, StringPrintf("SELECT max(id) FROM %s;", kTable), last))
        return -1;
    id = std::strtoll(last.c_str(), nullptr, 10);
    return 0;
}

int VGLogHolds(long long id, const UserLogEntry& entry) {
    std::string found;
    const std::string query = StringPrintf(
        "SELECT 1 FROM %s WHERE id = %lld AND log_type = %d AND user = %s AND item_id = %d AND params = %s"
        " AND ds_id = %d AND log_time = %lld AND extra = %ld;",
        kTable, id, entry.logType, VGDB::QuoteEscape(entry.user).c_str(), entry.itemId,
        VGDB::QuoteEscape(entry.params).c_str(), entry.dsId, entry.time, entry.extra);
    if (VGDB::LoadFirstFieldFromDB(DB_LOG, query, found))
        return -1;
    return found.empty() ? 0 : 1;
}

int VGLogWrite(const std::vector<UserLogEntry>& entries, long long firstId) {
    std::string sql;
    for (size_t i = 0; i < entries.size(); ++i) {
        const UserLogEntry& entry = entries[i];
        sql += i % kRowsPerInsert == 0 ? StringPrintf(
                                             "%sINSERT INTO %s(id, log_type, user, item_id, params, ds_id,"
                                             " log_time, extra) VALUES\n",
                                             i == 0 ? "" : ";\n", kTable)
                                       : ",\n";
        const std::string id = firstId > 0 ? std::to_string(firstId + static_cast<long long>(i)) : "NULL";
        sql += StringPrintf("(%s, %d, %s, %d, %s, %d, %lld, %ld)", id.c_str(), entry.logType,
                            VGDB::QuoteEscape(entry.user).c_str(), entry.itemId,
                            VGDB::QuoteEscape(entry.params).c_str(), entry.dsId, entry.time, entry.extra);
    }
    return VGDB::Execute(DB_LOG, std::move(sql)) == 0 ? 0 : -1;
}
