#include "upgrader/disk_space.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <map>
#include <string>

#include "platform/vgdb/vgdb.h"
#include "upgrader/driver.h"

namespace {

// New tables, settings files, log entries: small beside any database that is worth counting.
constexpr uint64_t kBesides = 4u << 20;

struct FileSystem {
    std::string database;  // the largest on it
    uint64_t size = 0;
};

}  // namespace

uint64_t PeakNeed(const UpgradeEntry* table, uint32_t oldBuild, uint64_t largestDatabase) {
    bool due = false;
    for (const UpgradeEntry* entry = table; entry->function; ++entry)
        due = due || (entry->threshold != 0 && IsDue(*entry, oldBuild));
    return due ? 2 * largestDatabase + kBesides : 0;
}

void CheckDiskSpace(const UpgradeEntry* table, uint32_t oldBuild, LogSite site) {
    std::map<dev_t, FileSystem> fileSystems;
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db) {
        const std::string path = VGDB::GetDBPath(static_cast<DB_INSTANCE>(db));
        struct stat status {};
        if (stat(path.c_str(), &status) != 0)
            continue;  // told by the repair
        FileSystem& fileSystem = fileSystems[status.st_dev];
        if (fileSystem.database.empty() || static_cast<uint64_t>(status.st_size) > fileSystem.size)
            fileSystem = {path, static_cast<uint64_t>(status.st_size)};
    }
    for (const auto& [device, fileSystem] : fileSystems) {
        struct statvfs space {};
        if (statvfs(fileSystem.database.c_str(), &space) != 0)
            continue;
        const uint64_t available = uint64_t{space.f_bavail} * space.f_frsize;
        const uint64_t need = PeakNeed(table, oldBuild, fileSystem.size);
        if (need > available)
            LogMessage(site,
                       "The file system of %s may be too full: %llu bytes can be needed, %llu are missing.\n",
                       fileSystem.database.c_str(), static_cast<unsigned long long>(need),
                       static_cast<unsigned long long>(need - available));
    }
}
