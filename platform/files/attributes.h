// What a file or folder is beside its content.
#pragma once

#include <sys/stat.h>

// Gives the open file or folder `to` owner, mode, access lists and other extended attributes of `from`, whose status
// that is, and nothing of what its own folder hands down.
// False, with errno, when owner or mode could not be set.
bool CopyOwnerAndMode(int from, const struct stat& status, int to);
