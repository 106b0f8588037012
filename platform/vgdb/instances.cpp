#include <array>
#include <filesystem>

#include "platform/host/paths.h"
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

}  // namespace

std::string VGDB::GetDBPath(DB_INSTANCE db) {
    return ResolvePath(std::string(kTargetDir) + kFiles.at(static_cast<size_t>(db)));
}

std::string VGDB::GetSqlFile(const std::string& dbPath) {
    // A database that is a symbolic link may have another name where it really is.
    std::filesystem::path named = dbPath;
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        if (GetDBPath(static_cast<DB_INSTANCE>(db)) == dbPath)
            named = kFiles.at(static_cast<size_t>(db));
    return ResolvePath(std::string(kSchemaDir) + named.stem().string() + ".sql");
}
