// Copies for moves across file systems.
#pragma once

#include <string>

#include "platform/files/folder.h"

// Copies a file, a symbolic link, or a folder with all below it, to a name that the other folder does not
// have yet, with owner, mode, times and extended attributes, and flushes the copy to disk. Left out are mount
// points and what is neither file, folder nor link. Returns 0 on success; a failure is logged, and leaves
// what has been copied so far.
[[nodiscard]] int CopyEntry(const Folder& from, const std::string& name, const Folder& to,
                            const std::string& copyName);

// Whether both folders have, under that name, a regular file of the same content or a symbolic link of the
// same target. A file in `to` for which that holds has been flushed to disk.
bool HaveSameContent(const Folder& from, const Folder& to, const std::string& name);
