#include "control/preflight.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>

#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/paths.h"

namespace {

using Lines = std::vector<std::string>;

// What has been looked at.
struct Seen {
    std::set<dev_t> readOnly;
    std::set<std::string> paths;
    size_t forbidden = 0;
};

// A file that is not there needs nothing; one that is there and its folder must take writes: journals stand beside
// databases, and settings are replaced.
void LookAtPath(const std::string& path, Seen& seen, Lines& lines) {
    struct stat status {};
    struct statvfs fileSystem {};
    if (!seen.paths.insert(path).second || stat(path.c_str(), &status) != 0)
        return;
    if (statvfs(path.c_str(), &fileSystem) == 0 && (fileSystem.f_flag & ST_RDONLY) != 0) {
        if (seen.readOnly.insert(status.st_dev).second)
            lines.push_back("The file system of " + path + " is read-only.");
        return;
    }
    if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0)
        return;
    if (geteuid() == 0)
        lines.push_back(path + " cannot be written: " + std::strerror(errno) + '.');
    else if (seen.forbidden++ == 0)
        lines.push_back(path + " cannot be written by this user, be root.");
}

void LookAtFile(const std::string& path, Seen& seen, Lines& lines) {
    LookAtPath(std::filesystem::path(path).parent_path(), seen, lines);
    LookAtPath(path, seen, lines);
}

void LookAtDatabase(DB_INSTANCE db, bool isRunning, Lines& lines) {
    const VGDB::DBState state = VGDB::Probe(db);
    const bool isBusy = state == VGDB::DBState::Busy;
    if (isRunning || state == VGDB::DBState::Usable || state == VGDB::DBState::Missing)
        return;
    if (isBusy || db == DB_SYSTEM)
        lines.push_back(VGDB::GetDBName(db) + ' ' + WhyUnreadable(db, state) +
                        (isBusy ? ". An upgrade waits a minute for it." : "."));
}

}  // namespace

std::vector<std::string> FindObstacles(const Plan& plan, const std::vector<DiskNeed>& disks) {
    Lines lines;
    Seen seen;
    const bool isRunning = !FindRunning().isNull();
    for (const DatabaseRepair& repair : plan.repairs) {
        LookAtFile(repair.path, seen, lines);
        LookAtDatabase(repair.db, isRunning, lines);
    }
    LookAtFile(ResolvePath(kSettingsConf), seen, lines);
    LookAtPath(ResolvePath(kLogDir), seen, lines);
    for (const DiskNeed& disk : disks)
        if (disk.needed > disk.free)
            lines.push_back("The file system of " + disk.fileSystem + " may be too full: " +
                            InBytes(disk.needed) + " can be needed, " + InBytes(disk.free) + " are free.");
    if (const Stamp stamp = FindStamp(); stamp.isNewer)
        lines.push_back(NewerInWords(stamp.text, stamp.version));
    return lines;
}
