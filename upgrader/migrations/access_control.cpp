// Door controllers, card holders and door rights.
#include "upgrader/migrations/migrations.h"

namespace migrations {

// Not settled: rights of the door-controller database.
int MergeAxisacsctrlPrivilege() { return 0; }

// Not settled: access times and authentication profiles of doors.
int UpdateDoorAccessTimeAndAuthProfile() { return 0; }

// Not settled: card holders of the door controllers and their long access time.
int SyncCardHolder() { return 0; }

// Not settled: door rights of the privilege profiles.
int UpdatePrivPerDoor() { return 0; }

// Not settled: whole-server door columns of some profiles.
int ResetAllDoorsPrivilege() { return 0; }

}  // namespace migrations
