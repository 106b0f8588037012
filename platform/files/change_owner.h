// Owners of the package's files and folders.
#pragma once

#include <string>

#include "platform/base/package_user.h"

// Gives a regular file or a folder that root owns to the owner; set-id bits stay. Left alone is what somebody
// else owns, a symbolic link (which is never followed) and anything else that is neither file nor folder, and
// a file with a second name, which may be a file of the system's. No such entry: nothing to do. Paths are real
// ones. Returns 0, or -1 when an owner could not be changed (logged).
[[nodiscard]] int VGFileChown(const std::string& path, const Owner& owner);

// The same for a folder and all in it. What is mounted below it is left alone.
[[nodiscard]] int VGTreeChown(const std::string& path, const Owner& owner);
