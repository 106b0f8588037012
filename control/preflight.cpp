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

// The file systems that have been told, and the files and folders.
struct Told {
    std::set<dev_t> fileSystems;
    std::set<std::string> paths;
};

// A file that is not there needs nothing; one that is there and its folder must take writes: journals stand beside
// databases, and settings are replaced.
void LookAtPath(const std::string& path, Told& told, Lines& lines) {
    struct stat status {};
    struct statvfs fileSystem {};
    if (!told.paths.insert(path).second || stat(path.c_str(), &status) != 0)
        return;
    if (statvfs(path.c_str(), &fileSystem) == 0 && (fileSystem.f_flag & ST_RDONLY) != 0) {
        if (told.fileSystems.insert(status.st_dev).second)
            lines.push_back("The file system of " + path + " is read-only.");
        return;
    }
    if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0)
        lines.push_back(path + " cannot be written: " + std::strerror(errno) +
                        (geteuid() == 0 ? "." : ". Be root."));
}

void LookAtFile(const std::string& path, Told& told, Lines& lines) {
    LookAtPath(std::filesystem::path(path).parent_path(), told, lines);
    LookAtPath(path, told, lines);
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
    Told told;
    const bool isRunning = !FindRunning().isNull();
    for (const DatabaseRepair& repair : plan.repairs) {
        LookAtFile(repair.path, told, lines);
        LookAtDatabase(repair.db, isRunning, lines);
    }
    LookAtFile(ResolvePath(kSettingsConf), told, lines);
    LookAtPath(ResolvePath(kLogDir), told, lines);
    for (const DiskNeed& disk : disks)
        if (disk.needed > disk.free)
            lines.push_back("The file system of " + disk.fileSystem + " may be too full: " +
                            InBytes(disk.needed) + " can be needed, " + InBytes(disk.free) + " are free.");
    if (const Stamp stamp = FindStamp(); stamp.isNewer)
        lines.push_back(NewerInWords(stamp.text, stamp.version));
    return lines;
}
