// The rows of a query, the one form in which libraries and programs read databases:
//
//     Rows cameras;
//     if (Query(DB_SYSTEM, "SELECT id, name FROM camera;", cameras))
//         return -1;
//     while (cameras.Next())
//         Use(cameras.Int64("id"), cameras.Text("name"));
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/vgdb/vgdb.h"

class Rows {
public:
    // Advances to the next row, at first to the first; false when none is left.
    bool Next() { return VGDBFetchRow(m_result.get(), &m_row) == 0; }

    int Count() const { return VGDBNumRows(m_result.get()); }

    // The field of the current row; null when it is NULL or there is no such column. Lives as long as the rows.
    const char* Text(const char* column) const { return VGDBFetchField(m_result.get(), m_row, column); }

    // The first field of the current row, whatever its column is called.
    const char* First() const;

    // The field as a string, '' when it is NULL.
    std::string String(const char* column) const;

    // The field as the platform reads integers: base 10, 0 when it is NULL or not a number. Int keeps the low 32 bits,
    // Int64 saturates.
    int Int(const char* column) const;
    long long Int64(const char* column) const;

    // The id of the row; nothing when the field is NULL or anything but a whole number. What is written back to the
    // row goes by this: a text that begins with a number would lead to the row of that number.
    std::optional<long long> Id(const char* column) const;

    bool Bool(const char* column) const { return VGDB::FetchFieldAsBool(m_result.get(), m_row, column); }

private:
    friend int Query(DB_INSTANCE db, std::string sql, Rows& rows);
    friend int Query(const std::string& dbPath, std::string sql, Rows& rows);

    struct Free {
        void operator()(DBResult_tag* result) const { VGDBFreeResult(result); }
    };
    std::unique_ptr<DBResult_tag, Free> m_result;
    unsigned int m_row = 0;
};

// Runs a query. Returns 0, or -1 after a failure, which the data access has logged; there are no rows then.
[[nodiscard]] int Query(DB_INSTANCE db, std::string sql, Rows& rows);
[[nodiscard]] int Query(const std::string& dbPath, std::string sql, Rows& rows);
