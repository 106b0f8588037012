#include "platform/userlog/vglog.h"

#include <ctime>
#include <utility>

#include "platform/log/library_log.h"
#include "platform/support/json.h"
#include "platform/support/strings.h"
#include "platform/vgdb/vgdb.h"

namespace {

// Rows of one INSERT. To prepare a statement costs more than to insert a row; a statement of all rows would
// cost SQLite memory for all of them at once.
constexpr size_t kRowsPerInsert = 200;

// The entries noted since the last flush: the rows of one INSERT each.
struct Noted {
    std::vector<std::string> inserts;
    size_t rows = 0;
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
    if (noted.rows++ % kRowsPerInsert == 0)
        noted.inserts.push_back(values);
    else
        noted.inserts.back() += ",\n" + values;
}

int VGLogFlush() {
    auto [inserts, count] = std::exchange(NotedEntries(), {});
    if (inserts.empty())
        return 0;
    std::string schema;
    const bool joined = VGDB::JoinUnit(DB_LOG, schema) == 0;
    if (!joined && !VGDB::CheckTableExist(DB_LOG, "log")) {
        VG_LIB_LOG("%zu user-visible log entries are lost.\n", count);
        return 0;
    }
    std::string sql;
    for (std::string& rows : inserts) {
        sql += "INSERT INTO " + schema +
               "log(log_type, user, item_id, params, ds_id, log_time, extra) VALUES\n" + rows + ";\n";
        rows = {};
    }
    return VGDB::Execute(joined ? DB_SYSTEM : DB_LOG, std::move(sql));
}

void VGLogDiscard() { NotedEntries() = {}; }
