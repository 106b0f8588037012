// Files of settings, given by the package's paths, that take effect together with a commit. Failures are logged
// here, never with content.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// Replacements that take effect together with something else, such as the commit of a database. While a unit
// is open, Rewrite prepares the new file completely and flushed, under a name of the unit's, and keeps
// the lock; Read gives what was prepared. The tag tells the units of one program apart.
namespace FileUnit {

// Opens a unit; what an open one had prepared is discarded.
void Begin(const std::string& tag);

bool IsOpen();

// Returns 1, 0 (no file) or -1.
int Read(const std::string& path, std::string& content);

// Returns 0 or -1. The edit may be called twice.
int Rewrite(const std::string& path, const std::function<std::string(std::string_view)>& edit);

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
