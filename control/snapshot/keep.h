// Taking, proving and removing snapshots.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "control/snapshot/snapshot.h"

// Told of the bytes that have been dealt with and of how many there are.
using BytesOf = std::function<void(uint64_t done, uint64_t all)>;

// Takes a snapshot, under the upgrade lock. A failure leaves nothing; a kill leaves one that is not complete.
[[nodiscard]] int TakeSnapshot(const SnapshotPlace& place, const std::string& name, const std::string& note,
                               std::chrono::milliseconds patience, const BytesOf& progress,
                               Snapshot& snapshot, std::string& problem);

// What keeps the snapshot from being restored; empty when nothing does.
std::vector<std::string> ProblemsOf(const Snapshot& snapshot, const BytesOf& progress);

// Removes a snapshot, complete or not, under the upgrade lock: one whose snapshot.json is one of ours, or that stands
// among the package's snapshots. One that holds anything else stays as it is.
[[nodiscard]] int ForgetSnapshot(const SnapshotPlace& place, const Snapshot& snapshot, std::string& problem);

// Removes a kept rehearsal.
[[nodiscard]] int ForgetRehearsal(const KeptRehearsal& rehearsal, std::string& problem);
