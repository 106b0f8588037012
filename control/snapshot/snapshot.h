// Snapshots: folders with a copy of the files that an upgrade can change in place.
//
//   NAME/snapshot.json   what it is; `complete` is true when all else is on disk
//   NAME/SHA256SUMS      the sums of the files, as sha256sum reads them
//   NAME/var/packages/…  the files
#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/files/folder.h"

struct Snapshot {
    std::string name;
    std::string folder;   // its real path
    std::string taken;    // local time with zone offset; '' when unknown
    std::string stamp;    // the version of the data; '' when they bear none
    std::string version;  // of the program
    std::string host;
    std::string note;
    uint64_t bytes = 0;
    bool isOurs = false;  // snapshot.json has the members of one
    bool complete = false;
    std::vector<std::string>
        damaged;  // databases that were saved as they are, although they are none any more
    std::vector<std::string> absent;  // paths of the package where no file was
    std::string sumOfSums;            // of SHA256SUMS

    Json::Value ToJson() const;  // as the commands print it
};

// The folder that holds the snapshots: the package's own, which nobody but root may write to, or another by its real
// path.
struct SnapshotPlace {
    std::string folder;
    bool isElsewhere = false;
};

// Where the snapshots are: in the given folder, which must exist, or when that is '' in the package's own.
[[nodiscard]] int FindSnapshotPlace(const std::string& elsewhere, SnapshotPlace& place, std::string& problem);

// Opens the folder of the place; the package's own is made when it is not there. False, with errno, on failure; EPERM
// when the package's own is one that somebody else may write to.
Folder OpenSnapshotPlace(const SnapshotPlace& place);

// What is wrong with the name of a new snapshot; '' when nothing is.
std::string WhatIsWrongWithName(const std::string& name);

// A folder that `rehearse` has kept: two copies of a system.
struct KeptRehearsal {
    std::string name;
    std::string folder;
    std::string taken;

    Json::Value ToJson() const;  // as `snapshots` prints it: {"rehearsal":true}
};

inline constexpr std::string_view kRehearsalPrefix = "rehearsal-";

// Those in the place; none when it cannot be read.
std::vector<KeptRehearsal> ListRehearsals(const SnapshotPlace& place);

// Finds a snapshot by its name, or by its path when the name has a slash. Returns 0, also when it is not complete;
// -1 with the reason in `problem`.
[[nodiscard]] int FindSnapshot(const SnapshotPlace& place, const std::string& name, Snapshot& snapshot,
                               std::string& problem);

// All snapshots of the place, the newest first.
[[nodiscard]] int ListSnapshots(const SnapshotPlace& place, std::vector<Snapshot>& snapshots,
                                std::string& problem);

// What stands in the folder and is no part of a snapshot, by its path below it; '' when nothing does.
[[nodiscard]] int FindForeign(const Snapshot& snapshot, std::string& path, std::string& problem);

// Writes snapshot.json, and the folder's entries, to disk.
[[nodiscard]] int WriteSnapshotJson(const Snapshot& snapshot, std::string& problem);

// The sums of a snapshot by path below its folder. A file that could not be one of a snapshot, or that is to be absent,
// makes them useless, and so does the lack of any.
// Returns 0; -1 with the reason in `problem`.
[[nodiscard]] int ReadSums(const Snapshot& snapshot, std::map<std::string, std::string>& sums,
                           std::string& problem);

// A line of SHA256SUMS.
std::string SumsLine(const std::string& sum, const std::string& path);

inline constexpr const char* kSnapshotJson = "snapshot.json";
inline constexpr const char* kSumsFile = "SHA256SUMS";
