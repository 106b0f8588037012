// Small files that are read and replaced as a whole. Failures are logged here, never with content.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

enum class FileRead { kRead, kMissing, kFailed };

// A larger file is not read: no file of the package comes near, and a damaged one must not eat the memory.
inline constexpr size_t kMaxFileSize = size_t{1} << 30;

// Reads a regular file. A missing file (or folder) is no failure; the content is then empty.
FileRead ReadWholeFile(const std::string& path, std::string& content);

// Gives the new content for the old one. May be called twice, and gives the same for the same.
using FileEdit = std::function<std::string(std::string_view)>;

// Replaces the content of a file by what the edit makes of it. A file that does not exist counts as empty and
// is created with mode 0644; its folder must be there. Returns 0 on success, -1 when the file is as it was.
//
// Two writers never work from the same old content: each holds the lock (flock) of the file, or of its folder
// while there is no file. A reader and a process killed at any instant see the old file or the new one, the
// latter only after it has reached the disk; a temporary file that a killed process has left is removed by
// the next replacement. Nothing is written, locked or touched when the edit changes nothing.
[[nodiscard]] int RewriteFile(const std::string& path, const FileEdit& edit);

// Replacements that take effect together with something else, such as the commit of a database. While a unit
// is open, RewriteFile prepares the new file completely and flushed, under a name of the unit's, and keeps
// the lock; ReadWholeFile gives what was prepared. The tag tells the units of one program apart.
namespace FileUnit {

// Opens a unit; what an open one had prepared is discarded.
void Begin(const std::string& tag);

// The files that the open unit has prepared.
std::vector<std::string> Paths();

// Whether a replacement in the open unit has failed.
bool HasFailed();

// Ends the unit: every prepared file becomes the one that stands. Returns -1 when one cannot (logged); the
// others do all the same.
[[nodiscard]] int PutInPlace();

// Ends the unit as if nothing had been prepared.
void Discard();

// Ends the unit and leaves what was prepared to Finish or RemoveLeftovers, when it is not known which is
// right.
void Abandon();

// After an interruption: puts the file in place that a unit had prepared, if that has not been done. Returns
// -1 when it cannot be (logged).
[[nodiscard]] int Finish(const std::string& path, const std::string& tag);

// After an interruption: removes what units had prepared for the file that never took effect.
void RemoveLeftovers(const std::string& path);

}  // namespace FileUnit
