#include "platform/package/vglog.h"

#include <cstdlib>
#include <ctime>
#include <list>
#include <utility>

#include "platform/base/json.h"
#include "platform/base/strings.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr const char* kTable = "log";

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

void VGLog(int logType, const std::string& user, long long itemId, const std::vector<std::string>& params,
           int dsId, long extra) {
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
    // One beyond is nobody's who counts; behind it no entry would have an id.
    constexpr long long kBeyond = 1LL << 62;
    std::string last;
    if (VGDB::LoadFirstFieldFromDB(
            DB_LOG, StringPrintf("SELECT max(id) FROM %s WHERE id < %lld;", kTable, kBeyond), last))
        return -1;
    id = std::strtoll(last.c_str(), nullptr, 10);
    return 0;
}

int VGLogHolds(long long id, const UserLogEntry& entry) {
    std::string found;
    const std::string query = StringPrintf(
        "SELECT 1 FROM %s WHERE id = %lld AND log_type = %d AND user = %s AND item_id = %lld AND params = %s"
        " AND ds_id = %d AND log_time = %lld AND extra = %ld;",
        kTable, id, entry.logType, VGDB::QuoteEscape(entry.user).c_str(), entry.itemId,
        VGDB::QuoteEscape(entry.params).c_str(), entry.dsId, entry.time, entry.extra);
    if (VGDB::LoadFirstFieldFromDB(DB_LOG, query, found))
        return -1;
    return found.empty() ? 0 : 1;
}

int VGLogWrite(const std::vector<UserLogEntry>& entries, long long firstId) {
    if (entries.empty())
        return 0;
    std::list<std::string> params;
    for (long long id = firstId; const UserLogEntry& entry : entries) {
        params.insert(params.end(), {std::to_string(id), std::to_string(entry.logType), entry.user,
                                     std::to_string(entry.itemId), entry.params, std::to_string(entry.dsId),
                                     std::to_string(entry.time), std::to_string(entry.extra)});
        id += firstId > 0 ? 1 : 0;
    }
    const std::string insert = StringPrintf(
        "INSERT INTO %s(id, log_type, user, item_id, params, ds_id, log_time, extra)"
        " VALUES(nullif(CAST(? AS INTEGER), 0), CAST(? AS INTEGER), ?, CAST(? AS INTEGER), ?, CAST(? AS INTEGER),"
        " CAST(? AS INTEGER), CAST(? AS INTEGER));",
        kTable);
    return VGDB::Executep(VGDB::GetDBPath(DB_LOG), insert, nullptr, false, true, true, true, params);
}
