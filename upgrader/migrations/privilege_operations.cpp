// Operations that a privilege profile denies: bits of a mask first, characters of a string later.
#include "upgrader/migrations/migrations.h"

namespace migrations {

int UpdateDelteRecPriv() { return 0; }

int UpdateDelAndEditSnapshotPriv() { return 0; }

int UpdateRecExportMountPriv() { return 0; }

int UpdateManagerOperPriv() { return 0; }

int UpdateIVAOperPriv() { return 0; }

int UpdateDoorPriv() { return 0; }

int UpdateIntercomPriv() { return 0; }

int UpdatePOSPriv() { return 0; }

int UpdateHomeModePriv() { return 0; }

int GrantAllObjMgrTransDeviceAddDelPriv() { return 0; }

int ExtendPrivAdvOper() { return 0; }

int CorrectAllObjPrivAdvOper() { return 0; }

int UpdatePrivAdvOper() { return 0; }

}  // namespace migrations
