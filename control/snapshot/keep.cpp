#include "control/snapshot/keep.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

#include "control/snapshot/sha256.h"
#include "control/snapshot/sums.h"
#include "control/snapshot/tree_copy.h"
#include "platform/base/local_time.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/files/file_replacement.h"
#include "platform/files/files.h"
#include "platform/files/folder.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"

namespace fs = std::filesystem;

namespace {

constexpr mode_t kFolderMode = 0700;  // databases and settings hold passwords
constexpr mode_t kFileMode = 0600;

constexpr const char* kForgotten = ".vgforgotten";

int WriteSums(const TreeCopy& copy, Snapshot& snapshot, std::string& problem) {
    std::string text;
    for (const TreeCopy::File& file : copy.files)
        text += SumsLine(file.sum, file.path);
    Sha256 sha;
    sha.Add(text);
    snapshot.sumOfSums = sha.Sum();
    const std::string path = snapshot.folder + '/' + kSumsFile;
    if (!snapshot.sumOfSums.empty() && ReplaceFile(path, text, kFileMode) == 0)
        return 0;
    problem = Reason(path);
    return -1;
}

int Fill(Snapshot& snapshot, std::chrono::milliseconds patience, const BytesOf& progress,
         std::string& problem) {
    if (WriteSnapshotJson(snapshot, problem))
        return -1;
    TreeCopy copy;
    const TreeCopyWay way{.against = HeldDatabases::Against::Writers,
                          .patience = patience,
                          .durable = true,
                          .progress = progress};
    if (CopyTree(snapshot.folder, way, copy, problem) || WriteSums(copy, snapshot, problem))
        return -1;
    snapshot.bytes = copy.bytes;
    snapshot.absent = copy.absent;
    for (const std::string& path : copy.damaged)
        snapshot.damaged.push_back(path.substr(kTargetDir.size()));
    snapshot.complete = true;
    return WriteSnapshotJson(snapshot, problem);
}

// The sum of a file of a snapshot; '' with errno.
std::string SumOf(const std::string& path, const Progress& progress) {
    const UniqueFd file(open(path.c_str(), kReadFlags | O_NOFOLLOW));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0)
        return "";
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return "";
    }
    return SumOfFile(file.Get(), progress);
}

// Out of the list in one step; what an earlier, killed one has left goes first.
int Remove(const fs::path& path, std::string& problem) {
    const Folder folder = Folder::Open(path.parent_path());
    const std::string forgotten = folder ? folder.PathOf(kForgotten) : "";
    if (folder && VGFolderRemove(forgotten) == 0 &&
        renameat(folder.Fd(), path.filename().c_str(), folder.Fd(), kForgotten) == 0 && folder.Sync() &&
        VGFolderRemove(forgotten) == 0)
        return 0;
    problem = Reason("Cannot remove " + path.native());
    return -1;
}

}  // namespace

int TakeSnapshot(const SnapshotPlace& place, const std::string& name, const std::string& note,
                 std::chrono::milliseconds patience, const BytesOf& progress, Snapshot& snapshot,
                 std::string& problem) {
    problem = WhatIsWrongWithName(name);
    if (!problem.empty())
        return -1;
    const Folder folder = OpenSnapshotPlace(place);
    if (!folder) {
        problem = Reason(place.folder);
        return -1;
    }
    if (mkdirat(folder.Fd(), name.c_str(), kFolderMode) != 0) {
        problem = errno == EEXIST ? "There is a snapshot " + name + " already (" + folder.PathOf(name) + ")"
                                  : Reason(folder.PathOf(name));
        return -1;
    }
    snapshot = {};
    snapshot.name = name;
    snapshot.folder = folder.PathOf(name);
    snapshot.taken = LocalTime(std::time(nullptr));
    snapshot.version = GetVGPkgVersion(true);
    (void)VGFileGetVal(kSettingsConf, "vg_upgrader_version", snapshot.stamp);
    std::array<char, 256> host{};
    if (gethostname(host.data(), host.size() - 1) == 0)
        snapshot.host = host.data();
    snapshot.note = note;
    int result = -1;
    if (folder.Sync())
        result = Fill(snapshot, patience, progress, problem);
    else
        problem = Reason(place.folder);
    std::string unremoved;
    if (result != 0)
        (void)Remove(snapshot.folder, unremoved);  // what stays is not complete, and shows as that
    return result;
}

std::vector<std::string> ProblemsOf(const Snapshot& snapshot, const BytesOf& progress) {
    if (!snapshot.complete)
        return {"It is not complete: the command that took it was interrupted, or still runs"};
    std::map<std::string, std::string> sums;
    std::string problem;
    if (ReadSums(snapshot, sums, problem))
        return {problem};
    std::vector<std::string> problems;
    uint64_t done = 0;
    for (const auto& [path, expected] : sums) {
        const std::string sum = SumOf(snapshot.folder + '/' + path, [&](uint64_t bytes) {
            done += bytes;
            if (progress)
                progress(done, snapshot.bytes);
        });
        if (sum.empty())
            problems.push_back(path + " cannot be read: " + std::strerror(errno));
        else if (sum != expected)
            problems.push_back(path + " is not what it was");
    }
    return problems;
}

int ForgetSnapshot(const SnapshotPlace& place, const Snapshot& snapshot, std::string& problem) {
    const bool standsAmongThem =
        !place.isElsewhere && fs::path(snapshot.folder).parent_path() == fs::path(place.folder);
    if (!snapshot.isOurs && !standsAmongThem) {
        problem = snapshot.folder + " is no snapshot";
        return -1;
    }
    std::string foreign;
    if (FindForeign(snapshot, foreign, problem))
        return -1;
    if (!foreign.empty()) {
        problem = snapshot.folder + " also holds what is no part of a snapshot, and stays: " + foreign;
        return -1;
    }
    return Remove(snapshot.folder, problem);
}

int ForgetRehearsal(const KeptRehearsal& rehearsal, std::string& problem) {
    return Remove(rehearsal.folder, problem);
}
