#include "control/snapshot/snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "control/snapshot/sha256.h"
#include "control/snapshot/tree_files.h"
#include "platform/base/json.h"
#include "platform/base/local_time.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"
#include "platform/files/folder.h"
#include "upgrader/restore_mark.h"

namespace fs = std::filesystem;

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;
constexpr size_t kSumSize = 64;

std::string TextOf(const Json::Value& object, const char* member) {
    return object[member].isString() ? object[member].asString() : "";
}

// What cannot be read makes a snapshot that is not complete.
Snapshot Load(const std::string& folder, const std::string& name) {
    Snapshot snapshot;
    snapshot.name = name;
    snapshot.folder = folder;
    std::string text;
    Json::Value object;
    if (ReadWholeFile(folder + '/' + kSnapshotJson, text) != 1 || JsonParse(text, object) != 0 ||
        !object.isObject())
        return snapshot;
    snapshot.taken = TextOf(object, "taken");
    snapshot.stamp = TextOf(object, "stamp");
    snapshot.version = TextOf(object, "version");
    snapshot.host = TextOf(object, "host");
    snapshot.note = TextOf(object, "note");
    const Json::Value& damaged = object["damaged"];
    for (const Json::Value& path : damaged.isArray() ? damaged : Json::Value(Json::arrayValue))
        snapshot.damaged.push_back(path.isString() ? path.asString() : "");
    snapshot.bytes = object["bytes"].isUInt64() ? object["bytes"].asUInt64() : 0;
    snapshot.sumOfSums = TextOf(object, "sums");
    const Json::Value& absent = object["absent"];
    for (const Json::Value& path : absent.isArray() ? absent : Json::Value(Json::arrayValue))
        snapshot.absent.push_back(path.isString() ? path.asString() : "");
    snapshot.isOurs = absent.isArray() && object["sums"].isString() && object["taken"].isString() &&
                      object["name"].isString() && object["complete"].isBool();
    const bool known = std::all_of(snapshot.absent.begin(), snapshot.absent.end(), IsTreeFile);
    snapshot.complete =
        snapshot.isOurs && object["complete"].asBool() && known && !snapshot.sumOfSums.empty();
    return snapshot;
}

// Seconds since 1970; times of unknown snapshots are the oldest.
time_t TimeOf(const Snapshot& snapshot) {
    struct tm parts {};
    if (!strptime(snapshot.taken.c_str(), "%Y-%m-%dT%H:%M:%S%z", &parts))
        return 0;
    const long offset = parts.tm_gmtoff;  // timegm sets it back
    return timegm(&parts) - offset;
}

// A folder that a killed `snapshot` may have left: nothing in it, or a temporary file.
bool IsEmpty(const Folder& folder) {
    std::vector<std::string> names;
    return folder.List(names) && std::all_of(names.begin(), names.end(), [](const std::string& name) {
               return name == FileReplacement::TemporaryName(kSnapshotJson);
           });
}

bool IsSnapshot(const Folder& folder) {
    struct stat status {};
    return folder.Stat(kSnapshotJson, status) ? S_ISREG(status.st_mode) : IsEmpty(folder);
}

// The reverse of SumsLine; false when the line is none.
bool ParseSumsLine(std::string line, std::string& sum, std::string& path) {
    const bool isEscaped = line.starts_with('\\');
    if (isEscaped)
        line.erase(0, 1);
    if (line.size() <= kSumSize + 2 || line.compare(kSumSize, 2, "  ") != 0)
        return false;
    sum = line.substr(0, kSumSize);
    path.clear();
    for (size_t i = kSumSize + 2; i < line.size(); ++i) {
        const bool escape = isEscaped && line[i] == '\\' && i + 1 < line.size();
        path += !escape ? line[i] : line[++i] == 'n' ? '\n' : line[i];
    }
    return true;
}

}  // namespace

Json::Value Snapshot::ToJson() const {
    Json::Value object(Json::objectValue);
    object["name"] = name;
    object["taken"] = taken.empty() ? Json::Value() : Json::Value(taken);
    for (const auto& [member, text] :
         {std::pair("stamp", &stamp), {"version", &version}, {"host", &host}, {"note", &note}})
        object[member] = text->empty() ? Json::Value() : Json::Value(*text);
    object["bytes"] = Json::UInt64{bytes};
    object["complete"] = complete;
    object["damaged"] = Json::Value(Json::arrayValue);
    for (const std::string& path : damaged)
        object["damaged"].append(path);
    return object;
}

int FindSnapshotPlace(const std::string& elsewhere, SnapshotPlace& place, std::string& problem) {
    if (elsewhere.empty()) {
        place = {.folder = ResolvePath(fs::path(kRestoreMark).parent_path().native()), .isElsewhere = false};
        return 0;
    }
    std::error_code error;
    place = {.folder = fs::canonical(elsewhere, error), .isElsewhere = true};
    if (!error && !fs::is_directory(place.folder, error) && !error)
        error = std::make_error_code(std::errc::not_a_directory);
    if (error)
        problem = elsewhere + ": " + error.message();
    return error ? -1 : 0;
}

Folder OpenSnapshotPlace(const SnapshotPlace& place) {
    Folder folder = Folder::Open(place.folder);
    if (folder && !place.isElsewhere && !folder.IsOurs()) {
        errno = EPERM;
        return Folder();
    }
    if (folder || errno != ENOENT || place.isElsewhere)
        return folder;
    const fs::path path = place.folder;
    const Folder parent = Folder::Open(path.parent_path());
    if (parent && mkdirat(parent.Fd(), path.filename().c_str(), kFolderMode) == 0 && parent.Sync())
        folder = parent.OpenFolder(path.filename());
    return folder;
}

std::string WhatIsWrongWithName(const std::string& name) {
    if (name.empty())
        return "A snapshot needs a name";
    if (name.size() > NAME_MAX)
        return "The name of a snapshot has at most 255 bytes";
    if (name.find('/') != std::string::npos)
        return "The name of a snapshot has no slash (--to DIR saves it elsewhere)";
    if (name.starts_with('.') || name.starts_with('-'))
        return "The name of a snapshot does not begin with a dot or a dash";
    const auto isControl = [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; };
    if (std::any_of(name.begin(), name.end(), isControl))
        return "The name of a snapshot has no control characters";
    return "";
}

int FindSnapshot(const SnapshotPlace& place, const std::string& name, Snapshot& snapshot,
                 std::string& problem) {
    std::string path = place.folder + '/' + name;
    if (name.find('/') != std::string::npos) {
        std::error_code error;
        path = fs::canonical(name, error);
        if (error)
            path = name;  // opening it tells why
    } else if (const std::string wrong = WhatIsWrongWithName(name); !wrong.empty()) {
        problem = wrong;
        return -1;
    }
    const Folder folder = Folder::Open(path);
    if (!folder) {
        problem = "There is no snapshot " + name + " (" + path + ": " + std::strerror(errno) + ")";
        return -1;
    }
    if (!IsSnapshot(folder)) {
        problem = path + " is no snapshot";
        return -1;
    }
    snapshot = Load(path, fs::path(path).filename());
    return 0;
}

int ListSnapshots(const SnapshotPlace& place, std::vector<Snapshot>& snapshots, std::string& problem) {
    snapshots.clear();
    std::vector<std::string> names;
    const Folder folder = Folder::Open(place.folder);
    if (!folder && errno == ENOENT)
        return 0;
    if (!folder || !folder.List(names)) {
        problem = Reason(place.folder);
        return -1;
    }
    for (const std::string& name : names) {
        const Folder entry = name.starts_with('.') ? Folder() : folder.OpenFolder(name);
        if (entry && IsSnapshot(entry))
            snapshots.push_back(Load(folder.PathOf(name), name));
    }
    std::stable_sort(snapshots.begin(), snapshots.end(),
                     [](const Snapshot& a, const Snapshot& b) { return TimeOf(a) > TimeOf(b); });
    return 0;
}

Json::Value KeptRehearsal::ToJson() const {
    Json::Value object(Json::objectValue);
    object["name"] = name;
    object["taken"] = taken;
    object["rehearsal"] = true;
    object["complete"] = false;
    return object;
}

std::vector<KeptRehearsal> ListRehearsals(const SnapshotPlace& place) {
    std::vector<KeptRehearsal> kept;
    std::vector<std::string> names;
    const Folder folder = Folder::Open(place.folder);
    if (!folder || !folder.List(names))
        return kept;
    for (const std::string& name : names) {
        const Folder one = name.starts_with(kRehearsalPrefix) ? folder.OpenFolder(name) : Folder();
        struct stat status {};
        if (one && one.IsOurs() && one.Stat("before", status) && one.Stat("after", status))
            kept.push_back(
                {.name = name, .folder = folder.PathOf(name), .taken = LocalTime(status.st_mtime)});
    }
    return kept;
}

int WriteSnapshotJson(const Snapshot& snapshot, std::string& problem) {
    Json::Value object = snapshot.ToJson();
    object["sums"] = snapshot.sumOfSums;
    object["absent"] = Json::Value(Json::arrayValue);
    for (const std::string& path : snapshot.absent)
        object["absent"].append(path);
    const std::string path = snapshot.folder + '/' + kSnapshotJson;
    if (ReplaceFile(path, JsonWrite(object, false) + '\n', kFileMode) == 0)
        return 0;
    problem = Reason(path);
    return -1;
}

int ReadSums(const Snapshot& snapshot, std::map<std::string, std::string>& sums, std::string& problem) {
    sums.clear();
    std::string text;
    if (ReadWholeFile(snapshot.folder + '/' + kSumsFile, text) != 1) {
        problem = std::string(kSumsFile) + " cannot be read";
        return -1;
    }
    Sha256 sha;
    sha.Add(text);
    if (sha.Sum() != snapshot.sumOfSums) {
        problem = std::string(kSumsFile) + " is not what it was";
        return -1;
    }
    for (const std::string& line : SplitString(text, '\n')) {
        std::string sum, path;
        if (line.empty())
            continue;
        if (!ParseSumsLine(line, sum, path) || !IsTreeFile('/' + path)) {
            problem = std::string(kSumsFile) + " names what is no file of a snapshot: " + line;
            return -1;
        }
        if (std::find(snapshot.absent.begin(), snapshot.absent.end(), '/' + path) != snapshot.absent.end()) {
            problem = path + " is saved, and is to be absent";
            return -1;
        }
        sums[path] = sum;
    }
    if (sums.empty())
        problem = std::string(kSumsFile) + " names no file";
    return sums.empty() ? -1 : 0;
}

int FindForeign(const Snapshot& snapshot, std::string& path, std::string& problem) {
    path.clear();
    std::error_code error;
    const fs::path root = snapshot.folder;
    const auto end = fs::recursive_directory_iterator();
    auto entry = fs::recursive_directory_iterator(root, error);
    for (; !error && entry != end && path.empty(); entry.increment(error)) {
        const std::string name = entry->path().native().substr(snapshot.folder.size() + 1);
        const bool isOwn = entry->symlink_status(error).type() == fs::file_type::directory
                               ? IsFolderOfTreeFiles('/' + name)
                               : IsTreeFile('/' + name) || name == kSnapshotJson || name == kSumsFile ||
                                     name == FileReplacement::TemporaryName(kSnapshotJson) ||
                                     name == FileReplacement::TemporaryName(kSumsFile);
        path = isOwn ? "" : name;
    }
    if (error)
        problem = snapshot.folder + ": " + error.message();
    return error ? -1 : 0;
}

std::string SumsLine(const std::string& sum, const std::string& path) {
    std::string escaped;
    for (const char c : path)
        escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
    return (escaped == path ? "" : "\\") + sum + "  " + escaped + '\n';
}
