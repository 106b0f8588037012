// What the commands on snapshots share.
#pragma once

#include <string>

#include "control/command.h"
#include "control/snapshot/keep.h"
#include "control/snapshot/snapshot.h"

inline constexpr std::chrono::seconds kBusyPatience{60};  // for a database that somebody writes to

// The option "--to DIR".
Option PlaceOption(std::string* folder, const char* help);

// Finds the snapshot, and the place that it is in; else refuses.
Outcome Find(const std::string& folder, const std::string& name, SnapshotPlace& place, Snapshot& snapshot);

// Shows on a terminal how much is done.
BytesOf ShowBytes(const char* what);

// The object of a snapshot in words.
std::string Described(const Json::Value& object);
