// Databases as such: indexes, tables, stored passwords.
#include "upgrader/migrations/migrations.h"

namespace migrations {

// Not settled: the package's generic table.
int CheckVGGenericTable() { return 0; }

// Not settled: table slaveds: stored administrator passwords.
int EncryptSlaveDsAdminPasswd() { return 0; }

// Not settled: an index on timestamp columns.
int CreateTimestampIndex() { return 0; }

// Not settled: indexes of the recording tables.
int CreateRecordingIndexes() { return 0; }

// Not settled: indexes that are no longer used.
int DropIndex() { return 0; }

// Not settled: stored passwords of cameras, I/O modules, notifications, action rules, archive tasks and IP
// speakers.
int EncryptDBPassword() { return 0; }

// Not settled: table logininfo: session ids.
int EncryptLoginInfoSid() { return 0; }

// Not settled: table camera_integration: stored passwords.
int EncryptCameraIntegrationPassword() { return 0; }

}  // namespace migrations
