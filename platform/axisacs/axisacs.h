// Door controllers: operations that the registry calls. Each returns 0 or a negative value.
#pragma once

namespace AxisAcsLog {

// Rebuilds the counts of the door event log.
int Recount();

}  // namespace AxisAcsLog

namespace AxisAuthProfile {

// Authentication profiles of doors; what changes is not settled.
int UpgradeAuthProfileDB();

}  // namespace AxisAuthProfile
