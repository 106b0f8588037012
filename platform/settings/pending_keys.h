// Keys that are written to files of settings together, later. While keys are collected, every write stays in
// memory, and every read sees it there; the files change when the caller says so.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct KeyChange {
    std::string file;  // by its path of the package
    std::string key;
    std::optional<std::string> value;  // none: removed
};

namespace PendingKeys {

// From now on keys that are written are collected. Reads also see the changes of earlier that are given,
// which are not in their files yet.
//
// Each write is tried at once: the file's lock is taken, and the complete new file is written beside it; both
// are kept. A write that fails its trial (no rights, no room, locked) returns -1 but is collected all the
// same. A key that no file can hold is not.
void Collect(std::vector<KeyChange> earlier = {});

// What has been written since the last call, in its order. Reads still see it.
std::vector<KeyChange> Take();

// Makes the changes in the files as they stand, one rewrite a file. Returns 0, or -1 when a file could not be
// written (logged); the others are all the same. May be done again.
[[nodiscard]] int Apply(const std::vector<KeyChange>& changes);

// Forgets all that was collected and gives locks and temporary files back. Writes go to the files again.
void Stop();

}  // namespace PendingKeys
