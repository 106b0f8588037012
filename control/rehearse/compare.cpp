#include "control/rehearse/compare.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <vector>

#include "control/rehearse/row_json.h"
#include "control/secrets.h"
#include "control/snapshot/tree_files.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/base/package_log.h"
#include "platform/files/file_io.h"
#include "platform/settings/key_value_text.h"
#include "platform/vgdb/row_changes.h"
#include "platform/vgdb/vgdb.h"

namespace fs = std::filesystem;

namespace {

bool IsSettingsFile(const std::string& path) { return IsTreeFile(path) && path.ends_with(".conf"); }

// The files of a system by the package's paths.
std::set<std::string> FilesOf(const SystemFiles& system) {
    std::set<std::string> files;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(system.folder, error);
         !system.folder.empty() && !error && entry != fs::end(entry); entry.increment(error))
        if (!entry->is_directory(error))
            files.insert(entry->path().native().substr(system.folder.size()));
    std::vector<TreeFile> own;
    std::string problem;
    if (system.folder.empty() && ListTreeFiles(own, problem) == 0)
        for (const TreeFile& file : own)
            if (fs::exists(file.realPath, error))
                files.insert(file.path);
    return files;
}

void NoteFile(Json::Value& files, const std::string& path, const char* change) {
    Json::Value& entry = files.append(Json::objectValue);
    entry["path"] = path;
    entry["change"] = change;
}

bool HaveSameBytes(const std::string& one, const std::string& other) {
    const UniqueFd first(open(one.c_str(), kReadFlags)), second(open(other.c_str(), kReadFlags));
    std::vector<char> a(1 << 16), b(1 << 16);
    for (;;) {
        const ssize_t read = first && second ? ReadBlock(first.Get(), a) : -1;
        if (read < 0 || ReadBlock(second.Get(), b) != read ||
            !std::equal(a.begin(), a.begin() + read, b.begin()))
            return false;
        if (read == 0)
            return true;
    }
}

// SQLite counts the commits there.
std::string HeaderOf(const std::string& path) {
    std::string header(100, '\0');
    const UniqueFd file(open(path.c_str(), kReadFlags));
    header.resize(static_cast<size_t>(
        file ? std::max<ssize_t>(pread(file.Get(), header.data(), header.size(), 0), 0) : 0));
    return header;
}

// Nothing has been written to one of the two: size and time are those that it was copied with.
bool IsUntouched(const std::string& before, const std::string& after) {
    struct stat was {
    }, is{};
    for (const char* suffix : {"-wal", "-journal"})
        if (access((before + suffix).c_str(), F_OK) == 0 || access((after + suffix).c_str(), F_OK) == 0)
            return false;
    return stat(before.c_str(), &was) == 0 && stat(after.c_str(), &is) == 0 && was.st_size == is.st_size &&
           was.st_mtim.tv_sec == is.st_mtim.tv_sec && was.st_mtim.tv_nsec == is.st_mtim.tv_nsec &&
           HeaderOf(before) == HeaderOf(after);
}

class Comparing {
public:
    Comparing(const SystemFiles& before, const SystemFiles& after, const CompareScope& scope,
              Json::Value& result)
        : m_before(before), m_after(after), m_scope(scope), m_result(result) {}

    int Run(std::string& problem) {
        for (const char* array : {"databases", "settings", "files", "owners", "log", "log_counts"})
            m_result[array] = Json::Value(Json::arrayValue);
        for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
            if (CompareDatabase(static_cast<DB_INSTANCE>(db), problem))
                return -1;
        SetProgressLine("");
        if (m_scope.table.empty())
            CompareFiles();
        return 0;
    }

private:
    int CompareDatabase(DB_INSTANCE db, std::string& problem) {
        const std::string name = VGDB::GetDBName(db);
        const std::string path = std::string(kTargetDir) + name;
        const std::string before = m_before.PathOf(path), after = m_after.PathOf(path);
        if (IsUntouched(before, after))
            return 0;
        SetProgressLine("Comparing " + name);
        VGDB::CompareWay way{.samples = m_scope.samples,
                             .readOnly = m_scope.readOnly,
                             .leftOut = "vgupgrader_record",
                             .table = m_scope.table,
                             .id = m_scope.id};
        if (db == DB_LOG && m_scope.table.empty()) {
            way.log = "log";
            way.inserted = [this](const VGDB::TableRow& row) { TakeEntry(row); };
        }
        VGDB::DatabaseChanges changes;
        const int compared = VGDB::CompareDatabases(before, after, way, changes, problem);
        if (compared == 0 && (!changes.tables.empty() || !changes.schema.empty()))
            m_result["databases"].append(ToJson(name, changes));
        // Damaged: no rows to be compared.
        if (compared > 0 && m_scope.table.empty() && !HaveSameBytes(before, after))
            NoteFile(m_result["files"], path, "changed");
        return std::min(compared, 0);
    }

    void TakeEntry(const VGDB::TableRow& row) {
        Json::Value entry(Json::objectValue);
        for (const auto& [column, value] : row)
            if (column == "log_type" || column == "item_id" || column == "params")
                entry[column] = ToJson(column, value);
        AddEntry(entry, m_scope.entries, m_result);
    }

    void CompareFiles() {
        const std::set<std::string> before = FilesOf(m_before), after = FilesOf(m_after);
        std::set<std::string> all = before;
        all.insert(after.begin(), after.end());
        for (const std::string& path : all) {
            const std::string was = m_before.PathOf(path), is = m_after.PathOf(path);
            if (path.starts_with(kLogDir) ||
                (!m_before.folder.empty() && !path.starts_with("/var/") && !path.starts_with("/etc/")))
                continue;
            if (before.contains(path) && after.contains(path))
                CompareOwners(path, was, is);
            if (IsSettingsFile(path))
                CompareSettings(path, was, is);
            else if (IsTreeFile(path))
                continue;
            else if (!before.contains(path))
                NoteFile(m_result["files"], path, "added");
            else if (!after.contains(path))
                NoteFile(m_result["files"], path, "removed");
            else if (!HaveSameBytes(was, is))
                NoteFile(m_result["files"], path, "changed");
        }
    }

    void CompareSettings(const std::string& path, const std::string& before, const std::string& after) {
        const std::map<std::string, std::string> was = KeysOf(before), is = KeysOf(after);
        std::map<std::string, std::string> keys = was;
        keys.insert(is.begin(), is.end());
        for (const auto& [key, any] : keys) {
            const auto old = was.find(key), now = is.find(key);
            const std::string* const values[] = {old == was.end() ? nullptr : &old->second,
                                                 now == is.end() ? nullptr : &now->second};
            if (!values[0] || !values[1] || *values[0] != *values[1])
                m_result["settings"].append(SettingsChange(path, key, values[0], values[1]));
        }
    }

    void CompareOwners(const std::string& path, const std::string& before, const std::string& after) {
        struct stat was {
        }, is{};
        if (stat(before.c_str(), &was) != 0 || stat(after.c_str(), &is) != 0 ||
            (was.st_uid == is.st_uid && was.st_gid == is.st_gid && was.st_mode == is.st_mode))
            return;
        Json::Value& entry = m_result["owners"].append(Json::objectValue);
        entry["path"] = path;
        entry["before"] = OwnerInWords(was.st_uid, was.st_gid, was.st_mode);
        entry["after"] = OwnerInWords(is.st_uid, is.st_gid, is.st_mode);
    }

    const SystemFiles& m_before;
    const SystemFiles& m_after;
    const CompareScope& m_scope;
    Json::Value& m_result;
};

// The names of a file like /etc/passwd, by number.
std::map<unsigned, std::string> NamesIn(const char* file) {
    std::map<unsigned, std::string> names;
    std::string content;
    if (ReadWholeFile(ResolvePath(file), content) > 0)
        for (const std::string& line : SplitString(content, '\n'))
            if (const std::vector<std::string> fields = SplitString(line, ':'); fields.size() > 2)
                names.try_emplace(static_cast<unsigned>(std::strtoul(fields[2].c_str(), nullptr, 10)),
                                  fields[0]);
    return names;
}

}  // namespace

std::string SystemFiles::PathOf(const std::string& path) const {
    return folder.empty() ? RealPathOfTreeFile(path) : folder + path;
}

std::map<std::string, std::string> KeysOf(const std::string& realPath) {
    std::string content;
    return ReadWholeFile(realPath, content) > 0 ? KeyValueText(content).All()
                                                : std::map<std::string, std::string>();
}

Json::Value SettingsChange(const std::string& file, const std::string& key, const std::string* before,
                           const std::string* after) {
    Json::Value change(Json::objectValue);
    change["file"] = file;
    change["key"] = key;
    change["before"] = before ? Json::Value(MaskedValue(key, *before)) : Json::Value();
    change["after"] = after ? Json::Value(MaskedValue(key, *after)) : Json::Value();
    return change;
}

std::string OwnerInWords(unsigned user, unsigned group, unsigned mode) {
    static const std::array<std::map<unsigned, std::string>, 2> names = {NamesIn("/etc/passwd"),
                                                                         NamesIn("/etc/group")};
    const auto inWords = [](const std::map<unsigned, std::string>& known, unsigned number) {
        const auto found = known.find(number);
        return found == known.end() ? std::to_string(number) : found->second;
    };
    return inWords(names[0], user) + ':' + inWords(names[1], group) + StringPrintf(" %04o", mode & 07777);
}

void AddEntry(const Json::Value& entry, size_t most, Json::Value& object) {
    if (object["log"].size() < most)
        object["log"].append(entry);
    for (Json::Value& count : object["log_counts"]) {
        if (count["log_type"] == entry["log_type"]) {
            count["entries"] = count["entries"].asUInt64() + 1;
            return;
        }
    }
    Json::Value& count = object["log_counts"].append(Json::objectValue);
    count["log_type"] = entry["log_type"];
    count["entries"] = 1;
}

int CompareSystems(const SystemFiles& before, const SystemFiles& after, const CompareScope& scope,
                   Json::Value& result, std::string& problem) {
    return Comparing(before, after, scope, result).Run(problem);
}
