// The build that a plan or a rehearsal begins from.
#pragma once

#include <cstdint>
#include <string>

#include "upgrader/record.h"

// Reads the argument OLD-BUILD; when it was left out, the build of the stamp in settings.conf, and without a stamp the
// build that an interrupted upgrade came from. Returns '', or what is wrong.
[[nodiscard]] std::string FindOldBuild(const std::string& text, const Record::Facts& facts, uint32_t& build);
