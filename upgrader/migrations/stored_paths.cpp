// Paths that databases hold: a file or folder moves or goes, and the rows follow what then stands on disk, so
// that a run that was cut short in between is made good by the next one.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "platform/base/package_user.h"
#include "platform/base/paths.h"
#include "platform/files/files.h"
#include "platform/files/flush_later.h"
#include "platform/files/place.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace {

// No row leads to a file by a way round.
bool IsUsable(const std::string& path) {
    const std::filesystem::path parts = path;
    return parts.is_absolute() && std::find(parts.begin(), parts.end(), "..") == parts.end();
}

// Looks up what stands at a path of the package, a symbolic link as such: 1, 0, or -1 (logged).
int FindEntry(const std::string& path, struct stat& status) {
    Place place;
    return FindPlace(ResolveEntry(path), place, status);
}

int FindRegularFile(const std::string& path) {
    struct stat status {};
    const int found = FindEntry(path, status);
    return found > 0 ? S_ISREG(status.st_mode) : found;
}

// Where a file of the share now is: 1 and the path; 0 when it is still there, or nowhere; or -1.
int FindMovedFile(const std::string& path, std::string& newPath) {
    if (const int found = FindRegularFile(path); found != 0)
        return found < 0 ? -1 : 0;
    for (const std::string_view folder : {kTargetDir, kDataDir}) {
        newPath = std::string(folder) + path.substr(kShareDir.size());
        if (const int found = FindRegularFile(newPath); found != 0)
            return found;
    }
    return 0;
}

// Whose files ResetWritingEvtPath may remove.
int GetRecorders(std::set<uid_t>& users) {
    Owner owner;
    struct stat status {};
    const int found = FindPackageUser(owner);
    if (found < 0 || stat(VGDB::GetDBPath(DB_SYSTEM).c_str(), &status) != 0)
        return -1;
    users.insert(status.st_uid);
    if (found > 0)
        users.insert(owner.user);
    return 0;
}

int RemoveFileOf(const std::set<uid_t>& users, const std::string& path) {
    struct stat status {};
    if (!IsUsable(path))
        return 0;
    if (const int found = FindEntry(path, status); found <= 0)
        return found;
    return S_ISREG(status.st_mode) && users.contains(status.st_uid) ? VGFileRemove(ResolveEntry(path)) : 0;
}

constexpr std::string_view kOldArchive = "@archive";
constexpr std::string_view kNewArchive = "@ArchiveVault";

struct ArchivedRecording {
    std::string row;
    std::string path;
    std::string newPath;
};

// The length of a path up to its archive folder, of the old name or the new one; 0 when it has none.
size_t FindArchive(const std::string& path) {
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('/', begin + 1), path.size());
        const std::string_view name = std::string_view(path).substr(begin + 1, end - begin - 1);
        if (name == kOldArchive || name == kNewArchive)
            return end;
        begin = end;
    }
    return 0;
}

// The archive folders, by their old names, and the recordings whose rows lead to one.
int LoadArchives(std::set<std::string>& folders, std::vector<ArchivedRecording>& recordings,
                 const LogSite& site) {
    Rows rows;
    if (QuerySql(
            DB_ARCHIVE,
            "SELECT rowid AS number, recording_path FROM archive_recording"
            " WHERE instr(recording_path, '/@archive') > 0 OR instr(recording_path, '/@ArchiveVault') > 0;",
            rows, kFailedToExecute, site))
        return -1;
    while (rows.Next()) {
        const std::string path = rows.String("recording_path");
        const size_t size = IsUsable(path) ? FindArchive(path) : 0;
        if (size == 0)
            continue;
        // Also where the row has followed already, by a run that was cut short after it: what stayed behind in the
        // folder of the old name is tried, and reported, again.
        const bool isOld = path[size - 1] == kOldArchive.back();
        const std::string parent = path.substr(0, size - (isOld ? kOldArchive : kNewArchive).size());
        folders.insert(parent + std::string(kOldArchive));
        if (isOld)
            recordings.push_back(
                {rows.String("number"), path, parent + std::string(kNewArchive) + path.substr(size)});
    }
    return 0;
}

// Whether the recording has moved: 1, 0 or -1.
int HasMoved(const ArchivedRecording& recording) {
    struct stat status {};
    const int moved = FindEntry(recording.newPath, status);
    const int stayed = moved > 0 ? FindEntry(recording.path, status) : 0;
    return stayed < 0 ? -1 : moved > 0 && stayed > 0 ? 0 : moved;
}

}  // namespace

namespace migrations {

int MoveCapInfoPath() {
    if (const int found = Guard(DB_SYSTEM, gszTableCamera, {"cap_file_path"}); found <= 0)
        return found;
    Rows paths;
    if (QuerySql(
            DB_SYSTEM,
            "SELECT DISTINCT cap_file_path FROM camera WHERE cap_file_path GLOB '/var/services/vigilo/*';",
            paths))
        return -1;

    int result = 0;
    std::string sql;
    while (paths.Next()) {
        const std::string path = paths.String("cap_file_path");
        std::string newPath;
        const int moved = IsUsable(path) ? FindMovedFile(path, newPath) : 0;
        if (moved < 0)
            result = UPG_FAIL("Failed to look up the capability file %s\n", path.c_str());
        if (moved > 0)
            AppendSqlCommand(sql, "UPDATE camera SET cap_file_path = " + VGDB::QuoteEscape(newPath) +
                                      " WHERE cap_file_path = " + VGDB::QuoteEscape(path));
    }
    return ExecuteSql(DB_SYSTEM, sql) ? -1 : result;
}

int RenameArchiveFolder() {
    if (const int found = Guard(DB_ARCHIVE, "archive_recording", {"recording_path"}); found <= 0)
        return found;
    std::set<std::string> folders;
    std::vector<ArchivedRecording> recordings;
    if (LoadArchives(folders, recordings, LogSite::Here()))
        return -1;

    int result = 0;
    for (const std::string& folder : folders)
        if (VGFolderRename(ResolveEntry(folder), std::string(kNewArchive)))
            result = UPG_FAIL("Failed to rename %s to %s\n", folder.c_str(), kNewArchive.data());

    // The rows may be on disk as soon as they are written; the folders must be before that.
    if (!VGFilesFlush().empty())
        return UPG_FAIL("Failed to flush the archive folders\n");
    std::string sql;
    for (const ArchivedRecording& recording : recordings) {
        const int moved = HasMoved(recording);
        if (moved < 0)
            result = UPG_FAIL("Failed to look up the recording %s\n", recording.path.c_str());
        if (moved > 0)
            AppendSqlCommand(
                sql, "UPDATE archive_recording SET recording_path = " + VGDB::QuoteEscape(recording.newPath) +
                         " WHERE rowid = " + recording.row);
    }
    return ExecuteSql(DB_ARCHIVE, sql) ? -1 : result;
}

// An event whose writing the old build did not finish. A camera keeps its path as long as the file is there.
int ResetWritingEvtPath() {
    if (const int found = Guard(DB_SYSTEM, gszTableCamera, {"writingEvtPath", "event_written_byte"});
        found <= 0)
        return found;
    Rows cameras;
    if (QuerySql(DB_SYSTEM,
                 "SELECT rowid AS number, writingEvtPath FROM camera WHERE event_written_byte > 0;", cameras))
        return -1;
    if (cameras.Count() == 0)
        return 0;
    std::set<uid_t> users;
    if (GetRecorders(users))
        return UPG_FAIL("Failed to tell whose files may be removed\n");

    std::string kept;
    while (cameras.Next()) {
        const std::string path = cameras.String("writingEvtPath");
        if (RemoveFileOf(users, path) == 0)
            continue;
        UPG_LOG("Failed to remove %s\n", path.c_str());
        kept += (kept.empty() ? "" : ", ") + cameras.String("number");
    }
    if (ExecuteSql(DB_SYSTEM,
                   "UPDATE camera SET writingEvtPath = '', event_written_byte = 0"
                   " WHERE event_written_byte > 0 AND rowid NOT IN (" +
                       kept + ");"))
        return -1;
    return kept.empty() ? 0 : -1;
}

}  // namespace migrations
