#include "platform/axisacs/axisacs.h"

#include "platform/counts/recount.h"
#include "platform/log/library_log.h"

int AxisAcsLog::Recount() {
    const DayCount count = {.countedDb = DB_AXISACSEVTLOG,
                            .countedTable = "axisacsevtlog",
                            .timeColumn = "timestamp",
                            .keyColumns = {"controller_id"},
                            .countDb = DB_AXISACSEVTLOG,
                            .countTable = "axisacsevtlogcnt"};
    if (RecountByDay(count) == 0)
        return 0;
    VG_LIB_LOG("Failed to count the door events anew\n");
    return -1;
}

// Not settled: what changes in the authentication profiles of doors.
int AxisAuthProfile::UpgradeAuthProfileDB() { return 0; }
