// Copies of single files, with their sums.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/files/file_io.h"
#include "platform/files/folder.h"

// Told of the bytes that have been dealt with since the last call.
using Progress = std::function<void(uint64_t bytes)>;

// Whether a copy in the folder could share the blocks of the open file, and so takes no room.
bool CanShareBlocks(int from, const Folder& to);

// Copies an open regular file from its beginning to a name that the folder does not have, with owner, mode, times and
// extended attributes; the blocks are shared where the file system can. Wanted sums are those of the bytes that the
// copy was given. Returns the copy, not yet flushed; false, with errno, on failure.
UniqueFd CopyFile(int from, const Folder& to, const std::string& name, std::string* sum,
                  const Progress& progress);

// The sum of an open file from its beginning; '', with errno, on failure.
std::string SumOfFile(int fd, const Progress& progress);
