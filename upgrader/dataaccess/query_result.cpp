#include "upgrader/dataaccess/query_result.h"

#include <cstdlib>

#include "platform/base/strings.h"

std::string QueryResult::String(const char* column) const { return OrEmpty(Text(column)); }

int QueryResult::Int(const char* column) const { return String2Int(Text(column)); }

long long QueryResult::Int64(const char* column) const {
    const char* text = Text(column);
    return text ? std::strtoll(text, nullptr, 10) : 0;
}

int QuerySql(DB_INSTANCE db, const std::string& sql, QueryResult& rows, const char* failure, LogSite site) {
    DBRows result;
    if (QueryRows(db, sql, result))
        return LogFailure(site, failure, sql.c_str());
    rows = QueryResult(std::move(result));
    return 0;
}
