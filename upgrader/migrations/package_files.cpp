// Files and folders of the package: retired ones go, others move. What the library cannot move or remove it
// logs by path.
#include <string>
#include <string_view>

#include "platform/files/files.h"
#include "platform/host/paths.h"
#include "upgrader/migrations.h"

namespace {

// Old builds kept their data in the package's share, whose name is a link to the volume that holds it.
constexpr std::string_view kShareDir = "/var/services/vigilo/";
constexpr std::string_view kPackageDataDir = "/var/packages/Vigilo/target/@vigilo/";
constexpr std::string_view kAddOnsDir = "/var/packages/Vigilo/target/@VGData/AddOns/";

std::string In(std::string_view folder, std::string_view name) {
    return ResolveEntry(std::string(folder).append(name));
}

int MoveFromShare(std::string_view name) {
    return VGFileMove(In(kShareDir, name), ResolvePath(kPackageDataDir));
}

}  // namespace

namespace migrations {

int MoveDBBackupFile() { return MoveFromShare("@VGDBBackup"); }

int RemoveLocalDisplayAddOnDir() { return VGFolderRemove(In(kAddOnsDir, "LocalDisplay")); }

int RemoveGzLogFiles() { return VGFolderRemoveFiles(ResolvePath(kLogDir), ".gz"); }

int MoveCmsDataFolders() {
    const int data = MoveFromShare("@CMS");
    const int syncData = MoveFromShare("@CmsSyncData");
    return data < 0 || syncData < 0 ? -1 : 0;
}

int RemoveVideoAnalyticsAddOnDir() { return VGFolderRemove(In(kAddOnsDir, "VideoAnalytics")); }

int RemoveACAPServiceFile() { return VGFileRemove(In(kAddOnsDir, "AxisACAP")); }

int RemoveOldVGlogSendConf() { return VGFileRemove(In("/etc/syslog-ng/patterndb.d/", "sendLog.conf")); }

int RemoveFailoverServiceFile() { return VGFileRemove(In(kAddOnsDir, "Failover")); }

}  // namespace migrations
