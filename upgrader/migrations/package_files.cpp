// Files and folders of the package: retired ones go, others move. The library logs what stays, by path; the
// migration says which of its steps that was.
#include <string>
#include <string_view>

#include "platform/base/paths.h"
#include "platform/files/files.h"
#include "upgrader/log.h"
#include "upgrader/migrations.h"

namespace {

constexpr std::string_view kAddOnsDir = "/var/packages/Vigilo/target/@VGData/AddOns/";

std::string In(std::string_view folder, std::string_view name) {
    return ResolveEntry(std::string(folder).append(name));
}

int MoveFromShare(const char* name, LogSite site = LogSite::Here()) {
    if (VGFileMove(In(kShareDir, name), ResolvePath(kDataDir)) == 0)
        return 0;
    return LogFailure(site, "Failed to move %s from %s\n", name, kShareDir.data());
}

int RemoveAddOnDir(const char* name, LogSite site = LogSite::Here()) {
    if (VGFolderRemove(In(kAddOnsDir, name)) == 0)
        return 0;
    return LogFailure(site, "Failed to remove the add-on folder %s\n", name);
}

int RemoveFile(std::string_view folder, const char* name, LogSite site = LogSite::Here()) {
    return VGFileRemove(In(folder, name)) == 0 ? 0 : LogFailure(site, "Failed to remove the file %s\n", name);
}

}  // namespace

namespace migrations {

int MoveDBBackupFile() { return MoveFromShare("@VGDBBackup"); }

int RemoveLocalDisplayAddOnDir() { return RemoveAddOnDir("LocalDisplay"); }

int RemoveGzLogFiles() {
    if (VGFolderRemoveFiles(ResolvePath(kLogDir), ".gz") == 0)
        return 0;
    return UPG_FAIL("Failed to remove compressed logs\n");
}

int MoveCmsDataFolders() {
    const int data = MoveFromShare("@CMS");
    const int syncData = MoveFromShare("@CmsSyncData");
    return data < 0 || syncData < 0 ? -1 : 0;
}

int RenameTransactionDirectory() {
    int result = 0;
    for (const std::string_view folder : {kShareDir, kDataDir}) {
        if (VGFolderRename(In(folder, "@POS"), "@Transactions"))
            result = UPG_FAIL("Failed to rename @POS to @Transactions in %s\n", folder.data());
    }
    return result;
}

int RemoveVideoAnalyticsAddOnDir() { return RemoveAddOnDir("VideoAnalytics"); }

int RemoveACAPServiceFile() { return RemoveFile(kAddOnsDir, "AxisACAP"); }

int RemoveOldVGlogSendConf() { return RemoveFile("/etc/syslog-ng/patterndb.d/", "sendLog.conf"); }

int RemoveFailoverServiceFile() { return RemoveFile(kAddOnsDir, "Failover"); }

}  // namespace migrations
