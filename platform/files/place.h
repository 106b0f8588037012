// An entry by the open folder that holds it.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/files/folder.h"

struct Place {
    Folder folder;
    std::string name;

    std::string Path() const { return folder.PathOf(name); }
};

// Looks an entry up by its real path. Returns 1 when it is there, 0 when it is not, -1 (logged) when that
// cannot be told. The folder is open, where there is one, also when the entry is not there.
[[nodiscard]] int FindPlace(const std::string& path, Place& place, struct stat& status);
