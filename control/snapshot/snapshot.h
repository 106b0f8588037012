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
    std::string folder;  // its real path
    std::string taken;   // local time with zone offset; '' when unknown
    std::string version;
    uint64_t bytes = 0;
    bool complete = false;
    std::vector<std::string> absent;  // paths of the package where no file was
    std::string sumOfSums;            // of SHA256SUMS

    Json::Value ToJson() const;  // as the commands print it
};

// The folder that holds the snapshots: the package's own, or another by its real path.
struct SnapshotPlace {
    std::string folder;
    bool isElsewhere = false;
};

// Where the snapshots are: in the given folder, which must exist, or when that is '' in the package's own.
[[nodiscard]] int FindSnapshotPlace(const std::string& elsewhere, SnapshotPlace& place, std::string& problem);

// Opens the folder of the place; the package's own is made when it is not there. False, with errno, on failure.
Folder OpenSnapshotPlace(const SnapshotPlace& place);

// What is wrong with the name of a new snapshot; '' when nothing is.
std::string WhatIsWrongWithName(const std::string& name);

// Finds a snapshot by its name, or by its path when the name has a slash. Returns 0, also when it is not complete;
// -1 with the reason in `problem`.
[[nodiscard]] int FindSnapshot(const SnapshotPlace& place, const std::string& name, Snapshot& snapshot,
                               std::string& problem);

// All snapshots of the place, the newest first.
[[nodiscard]] int ListSnapshots(const SnapshotPlace& place, std::vector<Snapshot>& snapshots,
                                std::string& problem);

// Writes snapshot.json, and the folder's entries, to disk.
[[nodiscard]] int WriteSnapshotJson(const Snapshot& snapshot, std::string& problem);

// The sums of a snapshot by path below its folder. A file that could not be one of a snapshot makes them useless.
// Returns 0; -1 with the reason in `problem`.
[[nodiscard]] int ReadSums(const Snapshot& snapshot, std::map<std::string, std::string>& sums,
                           std::string& problem);

// A line of SHA256SUMS.
std::string SumsLine(const std::string& sum, const std::string& path);

inline constexpr const char* kSnapshotJson = "snapshot.json";
inline constexpr const char* kSumsFile = "SHA256SUMS";
