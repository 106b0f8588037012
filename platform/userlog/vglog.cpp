#include "platform/userlog/vglog.h"

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
    case VGDB::DBState::Usable: return VGDB::FindTable(DB_LOG, kTable);
    case VGDB::DBState::Missing:
    case VGDB::DBState::NotADatabase: return 0;
    default: return -1;
    }
}

int VGLogWrite(const std::vector<UserLogEntry>& entries) {
    std::string sql;
    for (size_t i = 0; i < entries.size(); ++i) {
        const UserLogEntry& entry = entries[i];
        sql += i % kRowsPerInsert == 0
                   ? StringPrintf("%sINSERT INTO %s(log_type, user, item_id, params, ds_id, log_time, extra)"
                                  " VALUES\n",
                                  i == 0 ? "" : ";\n", kTable)
                   : ",\n";
        sql += StringPrintf("(%d, %s, %d, %s, %d, %lld, %ld)", entry.logType,
                            VGDB::QuoteEscape(entry.user).c_str(), entry.itemId,
                            VGDB::QuoteEscape(entry.params).c_str(), entry.dsId, entry.time, entry.extra);
    }
    return VGDB::Execute(DB_LOG, std::move(sql)) == 0 ? 0 : -1;
}
