#include "upgrader/disk_need.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include "platform/base/paths.h"

namespace {

// Settings files, new tables, counts: small beside any database that is worth counting.
constexpr uint64_t kBesides = 4u << 20;

// What an old camera's row can grow by, pages that split included: half a kilobyte of flags, a week of half hours whose
// words get their full width. And a dozen log entries: as notes in the main database, and in the log.
constexpr uint64_t kGrowthOfCamera = 6u << 10;
constexpr uint64_t kNotesOfCamera = 6u << 10;
constexpr uint64_t kEntriesOfCamera = 2u << 10;

// An index beside the table that it is on: the rows of the door events are hardly longer. The recordings have eight,
// half of them on few rows.
uint64_t GrowthByIndexes(uint64_t size, size_t indexes) { return std::min(size / 3 * 2 * indexes, size * 2); }

// Rows of a few numbers that get one more, in pages that split for it; counts of rows.
uint64_t GrowthByRows(uint64_t size) { return size / 2; }

uint64_t CountCameras() {
    std::string count;
    if (VGDB::FindTable(DB_SYSTEM, gszTableCamera) <= 0 ||
        VGDB::LoadFirstFieldFromDB(DB_SYSTEM, std::string("SELECT count(*) FROM ") + gszTableCamera, count))
        return 0;
    return std::strtoull(count.c_str(), nullptr, 10);
}

struct FileSystem {
    DiskNeed need;
    uint64_t passing = 0;  // the largest of what is needed only for a time, one after the other
};

// The file system that holds the file; none when that cannot be told.
FileSystem* FileSystemOf(std::map<dev_t, FileSystem>& all, const std::string& path) {
    struct stat status {};
    struct statvfs space {};
    if (stat(path.c_str(), &status) != 0 || statvfs(path.c_str(), &space) != 0)
        return nullptr;
    FileSystem& fileSystem = all[status.st_dev];
    if (fileSystem.need.fileSystem.empty()) {
        fileSystem.need.fileSystem = path;
        fileSystem.need.free = uint64_t{space.f_bavail} * space.f_frsize;
        fileSystem.need.needed = kBesides;
    }
    return &fileSystem;
}

uint64_t SizeOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

}  // namespace

// The main database has one journal from the first change to the commit, up to its whole size, and grows meanwhile;
// another has a journal for one call. What SQLite sorts, and what it keeps to undo a call to the main database, goes to
// temporary files. Nothing is needed where only the checks of every upgrade are due.
std::vector<DiskNeed> FindDiskNeeds(const Plan& plan) {
    std::vector<DiskNeed> disks;
    const bool repairs =
        std::any_of(plan.repairs.begin(), plan.repairs.end(),
                    [](const DatabaseRepair& repair) { return !repair.differences.sql.empty(); });
    const bool converts = std::any_of(plan.migrations.begin(), plan.migrations.end(),
                                      [](const Migration& migration) { return migration.threshold != 0; });
    if (!repairs && !converts)
        return disks;
    const uint64_t cameras = converts ? CountCameras() : 0;
    uint64_t largest = 0;
    std::map<dev_t, FileSystem> all;
    for (const DatabaseRepair& repair : plan.repairs) {
        FileSystem* const fileSystem = FileSystemOf(all, repair.path);
        if (!fileSystem)
            continue;  // told by the repair
        const uint64_t size = SizeOf(repair.path);
        uint64_t& needed = fileSystem->need.needed;
        needed += GrowthByIndexes(size, repair.differences.indexes.size());
        if (repair.db == DB_SYSTEM) {
            needed += 2 * size + cameras * (kGrowthOfCamera + kNotesOfCamera);
            largest = std::max(largest, size + cameras * kGrowthOfCamera);
        } else {
            largest = std::max(largest, size);
            needed += converts ? GrowthByRows(size) : 0;
            fileSystem->passing = std::max(fileSystem->passing, size);
        }
        if (repair.db == DB_LOG)
            needed += cameras * kEntriesOfCamera;
    }
    if (FileSystem* const fileSystem = FileSystemOf(all, VGDB::GetTempFolder()))
        fileSystem->passing = std::max(fileSystem->passing, largest);
    const std::string settings = ResolvePath(kSettingsConf);
    if (FileSystem* const fileSystem = FileSystemOf(all, settings))
        fileSystem->need.needed += 2 * SizeOf(settings);
    for (auto& [device, fileSystem] : all) {
        fileSystem.need.needed += fileSystem.passing;
        disks.push_back(fileSystem.need);
    }
    return disks;
}
