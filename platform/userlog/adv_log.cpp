#include "platform/userlog/adv_log.h"

// Not settled: the new log types and the table that lists them.
std::string GetAdvLogInsertSql() { return {}; }

// Not settled: the abandoned log types.
std::string GetAbandonAdvLogDelSql() { return {}; }
