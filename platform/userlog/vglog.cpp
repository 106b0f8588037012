#include "platform/userlog/vglog.h"

#include <ctime>
#include <utility>

#include "platform/support/json.h"
#include "platform/support/strings.h"
#include "platform/vgdb/vgdb.h"

namespace {

// The statements of the entries noted since the last flush.
std::string& NotedSql() {
    static std::string sql;
    return sql;
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
    const std::string values =
        StringPrintf("%d, %s, %d, %s, %d, %lld, %ld", logType, VGDB::QuoteEscape(user).c_str(), itemId,
                     VGDB::QuoteEscape(ParamsToJson(params)).c_str(), dsId,
                     static_cast<long long>(std::time(nullptr)), extra);
    AppendSqlCommand(
        NotedSql(),
        "INSERT INTO log(log_type, user, item_id, params, ds_id, log_time, extra) VALUES(" + values + ")");
}

int VGLogFlush() {
    std::string sql = std::exchange(NotedSql(), {});
    return sql.empty() ? 0 : VGDB::Execute(DB_LOG, std::move(sql));
}
