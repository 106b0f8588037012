// Bringing a snapshot back.
#pragma once

#include <chrono>
#include <string>

#include "control/snapshot/keep.h"
#include "control/snapshot/snapshot.h"

// Replaces the files of the package by those of the snapshot, under the upgrade lock and without a connection to a
// database. `name` is what the snapshot is called in the mark and in the history. Returns 0; -1 with the reason in
// `problem`: nothing was changed, or, when FindUnfinishedRestore finds the mark, it has to be run again.
[[nodiscard]] int RestoreSnapshot(const Snapshot& snapshot, const std::string& name,
                                  std::chrono::milliseconds patience, const BytesOf& progress,
                                  std::string& problem);
