#include "platform/axisacs/axisacs.h"

#include "platform/counts/recount.h"

int AxisAcsLog::Recount() {
    return RecountByDay({.countedDb = DB_AXISACSEVTLOG,
                         .countedTable = "axisacsevtlog",
                         .timeColumn = "timestamp",
                         .keyColumns = {"controller_id"},
                         .countDb = DB_AXISACSEVTLOG,
                         .countTable = "axisacsevtlogcnt"});
}

// Not settled: what changes in the authentication profiles of doors.
int AxisAuthProfile::UpgradeAuthProfileDB() { return 0; }
