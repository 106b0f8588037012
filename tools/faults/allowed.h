// Everything that the harness assumes of the program that it tries: what may differ, what a run must have
// told, and to which uninterrupted run an interrupted one is compared.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/faults/bench.h"
#include "tools/faults/tree_image.h"

// Files that no comparison looks at, by their path below the tree: the package log and the history.
bool IsExcluded(std::string_view path);

// Columns that hold the time of the run, or the day that is worked out from it.
bool IsTimeOfRun(const std::string& table, std::string_view column);

// The image as it is compared. Of settings.conf the lines that stood there before the run keep their order;
// new ones may come in any.
TreeImage Comparable(TreeImage image, const TreeImage& start);

// The differences from a run without faults after one that failed, in part, and was done again from its first
// row. Each table and file is as after one uninterrupted run or as after two, since some migrations work once
// more on what they have made. What could not be written at first comes later: user-visible log entries may
// come in any order, and the counts of them may be older than the last. The log of the runs tells which rows failed.
std::vector<std::string> DifferencesAfterFailure(const Bench& bench, const TreeImage& got,
                                                 const Messages& log);

// What a run that ended by itself has no business to leave: journals, temporary files, tables of its own.
// Empty: nothing of the kind is in `end` and not in `start`.
std::string LeftBehind(const TreeImage& start, const TreeImage& end);

// The outcome that `then` must have on a tree that the first run has left. A first run that has changed
// nothing has never been. One that has left the main database as it was is done anew, from the older build.
// One that has changed that has taken effect.
const Outcome& ExpectedAfter(const Bench& bench, const TreeImage& left);

// Statuses of a run that ended by itself though something failed, and a log that must be true of it: a failed
// migration is logged if and only if the status says so, and a tree that lacks something has a message that
// the run without faults has not.
void CheckTold(const Bench& bench, const ProcessEnd& end, const std::filesystem::path& tree,
               std::vector<std::string>& problems);

// The stamp is written a second time when the disk fails for a moment.
void CheckStamp(const Bench& bench, const TreeImage& image, std::vector<std::string>& problems);

// The message tells that the database is damaged.
bool TellsDamage(std::string_view message, const std::string& database);

// Without the event of the one migration that succeeds, and is marked as done, also when it could not ask whether it is
// due: where the log tells that it could not.
TreeImage WithoutUnasked(TreeImage image, const Messages& log);

// The image without what a damaged database, by its path below the tree, may cost: itself; the counts that
// are made from it; of the others, when the migrations' guards and sources are in it, everything but the
// schema.
TreeImage WithoutDamaged(TreeImage image, const std::string& database);

// Below the tree.
inline constexpr const char* kSettings = "/var/packages/Vigilo/etc/";
inline constexpr const char* kTarget = "var/packages/Vigilo/target";
inline constexpr const char* kSnapshots = "var/packages/Vigilo/target/@vigilo/@UpgradeSnapshots";
inline constexpr const char* kRestoreMark = "var/packages/Vigilo/target/@vigilo/@UpgradeSnapshots/.restoring";
inline constexpr const char* kHistory = "var/log/vigilo/vgupgrader.history.jsonl";
inline constexpr const char* kPackageLog = "var/log/vigilo/vgupgrader.log";
inline constexpr const char* kMainDatabase = "var/packages/Vigilo/target/system.db";
inline constexpr const char* kLogDatabase = "var/packages/Vigilo/target/@vigilo/log.db";

// The name of the snapshot that is taken, removed or brought back.
inline constexpr const char* kSnapshot = "one";

// How long the program waits for a database that is busy, in its own time, in seconds: before the walk, and
// within.
inline constexpr int kPatienceAtStart = 60;
inline constexpr int kPatience = 10;
