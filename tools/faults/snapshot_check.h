// What a command of vgupgradectl that makes, removes or brings back a snapshot has to leave when it is struck.
//
//   snapshot, forget   The system is as it was, byte for byte. The snapshot is complete and every file of it is the
//                      system's, or it says that it is not, is not restored, and can be removed. The next one succeeds.
//   restore            Nothing has changed, and upgrades work. Or the restore is unfinished: upgrades refuse to run,
//                      `status` names it. Run again, it ends with the files as they were when the snapshot was taken.
//
// What a run that came to its end has told is so.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/faults/scenarios.h"

// `end`: how the struck run ended; none when it was killed, or the power was cut.
void CheckWork(const Bench& bench, const std::filesystem::path& tree, const Point& point,
               const std::optional<ProcessEnd>& end, std::vector<std::string>& problems);
