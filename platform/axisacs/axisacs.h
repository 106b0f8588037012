// Door controllers: operations that the registry calls. Each returns 0 or a negative value.
#pragma once

namespace AxisAcsLog {

// Rebuilds table axisacsevtlogcnt, the door events of each controller by day, from the door event log.
int Recount();

}  // namespace AxisAcsLog

namespace AxisAuthProfile {

// Authentication profiles of doors; what changes is not settled.
int UpgradeAuthProfileDB();

}  // namespace AxisAuthProfile
