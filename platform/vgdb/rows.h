// The owner of a query's result.
#pragma once

#include <memory>
#include <string>

#include "platform/vgdb/vgdb.h"

struct FreeDBResult {
    void operator()(DBResult_tag* result) const { VGDBFreeResult(result); }
};
using DBRows = std::unique_ptr<DBResult_tag, FreeDBResult>;

// Runs a query. Returns 0, or -1 after a failure, which the data access has logged; there are no rows then.
[[nodiscard]] inline int QueryRows(DB_INSTANCE db, std::string sql, DBRows& rows) {
    DBResult_tag* result = nullptr;
    const int failed = VGDB::Execute(db, std::move(sql), &result);
    rows.reset(result);
    return failed ? -1 : 0;
}
