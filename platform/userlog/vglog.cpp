#include "platform/userlog/vglog.h"

#include <ctime>
#include <utility>

#include "platform/support/json.h"
#include "platform/support/strings.h"
#include "platform/vgdb/vgdb.h"

namespace {

// Rows of one INSERT. To prepare a statement costs more than to insert a row; a statement of all rows would
// cost SQLite memory for all of them at once.
constexpr int kRowsPerInsert = 200;

// The statements of the entries noted since the last flush.
struct Noted {
    std::string sql;
    int rows = 0;
};

Noted& NotedEntries() {
    static Noted noted;
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
    const std::string values =
        StringPrintf("(%d, %s, %d, %s, %d, %lld, %ld)", logType, VGDB::QuoteEscape(user).c_str(), itemId,
                     VGDB::QuoteEscape(ParamsToJson(params)).c_str(), dsId,
                     static_cast<long long>(std::time(nullptr)), extra);
    Noted& noted = NotedEntries();
    if (noted.rows % kRowsPerInsert != 0) {
        noted.sql += ",\n";
    } else {
        if (noted.rows > 0)
            noted.sql += ";\n";
        noted.sql += "INSERT INTO log(log_type, user, item_id, params, ds_id, log_time, extra) VALUES\n";
    }
    noted.sql += values;
    ++noted.rows;
}

int VGLogFlush() {
    std::string sql = std::exchange(NotedEntries(), {}).sql;
    return sql.empty() ? 0 : VGDB::Execute(DB_LOG, std::move(sql));
}
