#include "platform/vgdb/rows.h"

#include <cstdlib>
#include <utility>

#include "platform/base/strings.h"
#include "platform/vgdb/result.h"

const char* Rows::First() const { return m_result->fields[m_row * m_result->columns.size()]; }

std::string Rows::String(const char* column) const { return OrEmpty(Text(column)); }

int Rows::Int(const char* column) const { return String2Int(Text(column)); }

long long Rows::Int64(const char* column) const { return std::strtoll(OrEmpty(Text(column)), nullptr, 10); }

std::optional<long long> Rows::Id(const char* column) const { return ParseId(OrEmpty(Text(column))); }

int Query(DB_INSTANCE db, std::string sql, Rows& rows) {
    return Query(VGDB::GetDBPath(db), std::move(sql), rows);
}

int Query(const std::string& dbPath, std::string sql, Rows& rows) {
    DBResult_tag* result = nullptr;
    const int failed = VGDB::Executep(dbPath, std::move(sql), &result);
    rows.m_result.reset(result);
    return failed ? -1 : 0;
}
