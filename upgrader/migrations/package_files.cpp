// Files and folders of the package: retired ones go, others move.
#include "upgrader/migrations/migrations.h"

namespace migrations {

int MoveDBBackupFile() { return 0; }

int RemoveLocalDisplayAddOnDir() { return 0; }

// Not settled: read-only bits of files.
int UnregReadOnlyBit() { return 0; }

// Not settled: owners of files.
int Changeowner() { return 0; }

// Not settled: owner and mode of the database files.
int UpdateOwnerAndPrivilege() { return 0; }

int RemoveGzLogFiles() { return 0; }

int MoveCmsDataFolders() { return 0; }

// Not settled: owner of the recording servers' folders.
int ChangeCmsRecServerDirOwner() { return 0; }

int RemoveVideoAnalyticsAddOnDir() { return 0; }

int RemoveACAPServiceFile() { return 0; }

int RemoveOldVGlogSendConf() { return 0; }

int RemoveFailoverServiceFile() { return 0; }

// Not settled: permissions of the package's share and of shared folders that hold archived logs.
int UpdateVGSharePermission() { return 0; }

// Not settled: owner of the folder @VGDBBackup.
int ChangeDBBackupOwner() { return 0; }

// Not settled: owner and mode of the database files.
int ChangeDBFileOwnerMod() { return 0; }

}  // namespace migrations
