// Licences. Nothing about them is settled: the licence service keeps its own books.
#include "upgrader/migrations/migrations.h"

namespace migrations {

// Not settled: licence keys.
int UpgradeLicenseDB() { return 0; }

// Not settled: licence counts of recording servers.
int UpdateSlaveDsVerifyAndLicenseCnt() { return 0; }

// Not settled: licence ids on recording servers.
int UpdateLicenseIdOnRec() { return 0; }

// Not settled: activation of licences.
int ClearActivatedColumn() { return 0; }

// Not settled: activation of licence keys.
int UpdateLicenseKeyActivation() { return 0; }

// Not settled: licences of door controllers.
int AddDoorControllerLicense() { return 0; }

}  // namespace migrations
