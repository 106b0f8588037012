// Copies of single files, with their sums.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/files/file_io.h"
#include "platform/files/folder.h"

// Told of the bytes that have been dealt with since the last call.
using Progress = std::function<void(uint64_t bytes)>;

// Whether a copy in the folder could share the blocks of the open file, and so takes no room.
bool CanShareBlocks(int from, const Folder& to);

// One copy of an open regular file, from its beginning, to a name that the folder does not have, with owner, mode,
// times and extended attributes; the blocks are shared where the file system can.
struct FileCopy {
    int from;
    const Folder* to;
    std::string name;
    bool isKept = true;  // with its sum, and written past the cache; otherwise it is worked on at once

    UniqueFd copy = UniqueFd();  // not yet flushed; false after a failure
    std::string sum = "";        // of the bytes that the copy was given
    int error = 0;               // errno
};

// Makes copies, one after the other. Returns the first one that failed, after which the others have not been begun;
// null when all is well.
const FileCopy* CopyFiles(std::vector<FileCopy>& copies, const Progress& progress);

// The sum of an open file from its beginning; '', with errno, on failure.
std::string SumOfFile(int fd, const Progress& progress);
