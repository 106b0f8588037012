#include "control/snapshot/tree_files.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>

#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/files/folder.h"
#include "platform/vgdb/database_file.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr std::string_view kEtcDir = "/var/packages/Vigilo/etc/";
constexpr std::string_view kConf = ".conf";

bool IsRegularFile(const std::string& realPath) {
    struct stat status {};
    return stat(realPath.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// The path of the database that the file belongs to, itself or beside it; '' when there is none.
std::string DatabaseOf(std::string_view path) {
    for (const std::string& database : DatabasePaths()) {
        if (!path.starts_with(database))
            continue;
        const std::string_view suffix = path.substr(database.size());
        const auto isSuffix = [suffix](const char* one) { return suffix == one; };
        if (suffix.empty() ||
            std::any_of(std::begin(kCompanionSuffixes), std::end(kCompanionSuffixes), isSuffix))
            return database;
    }
    return "";
}

}  // namespace

int ListTreeFiles(std::vector<TreeFile>& files, std::string& problem) {
    files.clear();
    for (const std::string& path : DatabasePaths())
        files.push_back({.path = path, .realPath = ResolvePath(path), .isDatabase = true});
    std::set<std::string> settings = {std::string(kSettingsConf), std::string(kPackageConf)};
    const std::string etc = ResolvePath(kEtcDir);
    std::vector<std::string> names;
    const Folder folder = Folder::Open(etc);
    if (folder ? !folder.List(names) : errno != ENOENT) {
        problem = Reason(etc);
        return -1;
    }
    for (const std::string& name : names) {
        const std::string path = std::string(kEtcDir) + name;
        if (name.ends_with(kConf) && IsRegularFile(ResolvePath(path)))
            settings.insert(path);
    }
    settings.insert(std::string(kVariableConf));
    for (const std::string& path : settings)
        files.push_back({.path = path, .realPath = ResolvePath(path), .isDatabase = false});
    return 0;
}

bool IsTreeFile(std::string_view path) {
    if (path == kVariableConf)
        return true;
    if (path.starts_with(kEtcDir)) {
        const std::string_view name = path.substr(kEtcDir.size());
        return name.ends_with(kConf) && name.find('/') == std::string_view::npos;
    }
    return !DatabaseOf(path).empty();
}

bool IsFolderOfTreeFiles(std::string_view path) {
    std::vector<std::string> files = DatabasePaths();
    files.insert(files.end(), {std::string(kSettingsConf), std::string(kVariableConf)});
    return std::any_of(files.begin(), files.end(),
                       [&](const std::string& file) { return file.starts_with(std::string(path) + '/'); });
}

std::string RealPathOfTreeFile(const std::string& path) {
    const std::string database = DatabaseOf(path);
    std::string real;
    if (ResolveForWriting(database.empty() ? path : database, real))
        return "";
    return database.empty() ? real : real + path.substr(database.size());
}

std::vector<std::string> DatabasePaths() {
    std::vector<std::string> paths;
    paths.reserve(DB_INSTANCE_COUNT);
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        paths.push_back(std::string(kTargetDir) + VGDB::GetDBName(static_cast<DB_INSTANCE>(db)));
    return paths;
}

std::vector<std::string> DatabasesOf(const std::vector<TreeFile>& files) {
    std::vector<std::string> paths;
    for (const TreeFile& file : files)
        if (file.isDatabase)
            paths.push_back(file.realPath);
    return paths;
}
