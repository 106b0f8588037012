// The marker of an upgrade that could not begin, since the main database did not take its record: the old build, in a
// file of its own. It counts like a record's build.
#pragma once

#include <cstdint>
#include <string>

// Returns 1 and the build; 0 when there is no marker; -1 when what stands in its place is none of this program's, or
// cannot be read. `why` then tells: "PATH: TEXT".
[[nodiscard]] int ReadMarker(uint32_t& build, std::string& why);

// Writes it. Returns 0 or -1 (logged).
[[nodiscard]] int WriteMarker(uint32_t build);

// Removes it when there is one. One that stays (logged) makes the next upgrade do more than it has to.
void RemoveMarker();
