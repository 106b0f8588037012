#include "platform/userlog/recount.h"

#include "platform/counts/recount.h"

namespace {

int RecountLog(const char* keyColumn, const char* countTable) {
    return RecountByDay({.countedDb = DB_LOG,
                         .countedTable = "log",
                         .timeColumn = "log_time",
                         .keyColumns = {keyColumn},
                         .countDb = DB_LOG_CNT,
                         .countTable = countTable});
}

}  // namespace

int LogCount::Recount() { return RecountLog("log_type", "logcnt"); }

int VGLogEvent::Recount() { return RecountLog("ds_id", "logeventcnt"); }
