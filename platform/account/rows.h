// How this library reads the main database.
#pragma once

#include <memory>
#include <string>

#include "platform/vgdb/vgdb.h"

struct FreeResult {
    void operator()(DBResult_tag* result) const { VGDBFreeResult(result); }
};

using Rows = std::unique_ptr<DBResult_tag, FreeResult>;

// Runs a query. Returns 0, or -1 after a failure, which the data access has logged.
[[nodiscard]] inline int QueryRows(const std::string& sql, Rows& rows) {
    DBResult_tag* result = nullptr;
    const int error = VGDB::Execute(DB_SYSTEM, sql, &result);
    rows.reset(result);
    return error ? -1 : 0;
}
