// How the library's own reads and writes take part in PendingKeys.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/settings/pending_keys.h"

namespace CollectedKeys {

// The last change of the key that reads see; null when there is none.
const KeyChange* Find(std::string_view file, std::string_view key);

// The changes of the file that reads see, in their order.
std::vector<KeyChange> Of(std::string_view file);

// Makes changes of one file: collects them while keys are collected, writes them to the file else. Returns 0
// or -1.
int Write(const std::string& file, const std::vector<KeyChange>& changes);

}  // namespace CollectedKeys
