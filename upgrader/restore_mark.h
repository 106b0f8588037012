// A restore of a snapshot that has begun and is not finished: until it is, the databases are of two times.
#pragma once

#include <string>
#include <string_view>

// The file that stands from before the first replacement to after the last; it holds the snapshot's name.
inline constexpr std::string_view kRestoreMark =
    "/var/packages/Vigilo/target/@vigilo/@UpgradeSnapshots/.restoring";

// Returns 1 and the name; 0 when no restore is unfinished, also when somebody else than root or the user who runs the
// program could have laid the mark; -1 (logged) when that cannot be told.
[[nodiscard]] int FindUnfinishedRestore(std::string& name);
