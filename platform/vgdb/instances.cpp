#include "platform/vgdb/instances.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>

#include "platform/base/paths.h"
#include "platform/vgdb/vgdb.h"

namespace {

// By DB_INSTANCE, under the package's target folder.
constexpr std::array<const char*, DB_INSTANCE_COUNT> kFiles = {
    "system.db",
    "@vigilo/recording.db",
    "@vigilo/recording_cnt.db",
    "@vigilo/snapshot.db",
    "@vigilo/log.db",
    "@vigilo/log_cnt.db",
    "axisacsctrl.db",
    "axisacsctrl_temp.db",
    "@vigilo/axisacsevtlog.db",
    "pos.db",
    "@vigilo/transaction.db",
    "@vigilo/analyticsevent.db",
    "@vigilo/face.db",
    "@vigilo/archive.db",
    "@vigilo/edge.db",
    "@vigilo/ivarecording.db",
    "@vigilo/bookmark.db",
};

// Resolved once: every call of the library asks.
std::array<std::string, DB_INSTANCE_COUNT> g_paths;

}  // namespace

std::string VGDB::GetDBPath(DB_INSTANCE db) {
    std::string& path = g_paths.at(static_cast<size_t>(db));
    if (path.empty())
        path = ResolvePath(std::string(kTargetDir) + kFiles.at(static_cast<size_t>(db)));
    return path;
}

void ForgetDBPaths() { g_paths = {}; }

bool IsFileMissing(const std::string& dbPath) {
    struct stat status {};
    return stat(dbPath.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

std::string VGDB::GetDBName(DB_INSTANCE db) { return kFiles.at(static_cast<size_t>(db)); }

// A link may have led to a file of another name.
std::string VGDB::GetSqlFile(const std::string& dbPath) {
    std::filesystem::path name = dbPath;
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        if (GetDBPath(static_cast<DB_INSTANCE>(db)) == dbPath)
            name = GetDBName(static_cast<DB_INSTANCE>(db));
    return ResolvePath(std::string(kSchemaDir) + name.stem().string() + ".sql");
}

// As SQLite chooses it.
std::string VGDB::GetTempFolder() {
    struct stat status {};
    for (const char* const folder : std::initializer_list<const char*>{
             std::getenv("SQLITE_TMPDIR"), std::getenv("TMPDIR"), "/var/tmp", "/usr/tmp", "/tmp"})
        if (folder && stat(folder, &status) == 0 && S_ISDIR(status.st_mode) &&
            access(folder, W_OK | X_OK) == 0)
            return folder;
    return ".";
}
