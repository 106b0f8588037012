// Renames for moves within one file system.
#pragma once

#include <string>

#include "platform/files/folder.h"

// Moves an entry to a folder and name where nothing stands, in one step and without ever replacing what has
// come there meanwhile. False, with errno, when it could not: EXDEV across file systems.
bool RenameEntry(const Folder& from, const std::string& name, const Folder& to, const std::string& newName);

// The same for kernels and file systems that cannot rename without replacing. A file or link is for an
// instant under both names; a process killed then leaves both.
bool RenameEntryByLink(const Folder& from, const std::string& name, const Folder& to,
                       const std::string& newName);
