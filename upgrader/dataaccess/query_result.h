// A query's rows: nothing else in the program calls the fetch and free functions.
#pragma once

#include <string>
#include <utility>

#include "platform/vgdb/rows.h"
#include "upgrader/log.h"

// The rows of a query. Starts before the first row:
//
//     QueryResult rows;
//     if (QuerySql(DB_SYSTEM, sql, rows, "Failed to execute sql: %s\n"))
//         return -1;
//     while (rows.Next())
//         Use(rows.Int("id"), rows.Text("name"));
class QueryResult {
public:
    QueryResult() = default;
    explicit QueryResult(DBRows rows) : m_rows(std::move(rows)) {}

    // Advances to the next row; false when none is left.
    bool Next() { return m_rows && VGDBFetchRow(m_rows.get(), &m_row) == 0; }

    int NumRows() const { return VGDBNumRows(m_rows.get()); }

    // The field of the current row; null when it is NULL or there is no such column. Lives as long as the
    // rows.
    const char* Text(const char* column) const { return VGDBFetchField(m_rows.get(), m_row, column); }

    // The field as a string, '' when it is NULL.
    std::string String(const char* column) const;

    // The field as the platform reads integers: base 10, low 32 bits, 0 when it is NULL or not a number.
    int Int(const char* column) const;

    // The same in 64 bits.
    long long Int64(const char* column) const;

    bool Bool(const char* column) const { return VGDB::FetchFieldAsBool(m_rows.get(), m_row, column); }

private:
    DBRows m_rows;
    unsigned int m_row = 0;
};

// Runs a query. A failure is logged at the caller's place with `failure`, a format that may name the
// statement by one %s, and gives -1.
[[nodiscard]] int QuerySql(DB_INSTANCE db, const std::string& sql, QueryResult& rows, const char* failure,
                           LogSite site = LogSite::Here());
