// Copies of files and of what is below a folder.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/files/folder.h"

// Gets the bytes of a copy, block by block. False, with errno, ends it.
using BlockSink = std::function<bool(std::string_view block)>;

// Copies an open regular file, from its beginning, to a name that the folder does not have, with owner, mode, times and
// extended attributes; the blocks are shared where the file system can. `sink` is told of every block of the copy.
// Returns the copy, not yet flushed; false, with errno, on failure, which leaves what has been copied so far.
UniqueFd CopyFile(int from, const Folder& to, const std::string& name, const BlockSink& sink = {});

// Passes every block of the open file, from its beginning, to the sink. False with errno.
bool ReadBlocks(int fd, const BlockSink& sink);

// Whether a copy in the folder could share the blocks of the open file, and so takes no room.
bool CanShareBlocks(int from, const Folder& to);

// "" when the file system of the folder has that many bytes free; else what is missing. A file system that does not
// tell has room.
std::string FindRoom(const Folder& folder, uint64_t needed);

// How a whole entry is copied.
enum class EntryCopy {
    Durable,  // flushed to disk; a file that changes meanwhile fails it
    Passing,  // for a copy that is worked on and removed
};

// Copies a file, a symbolic link, or a folder with all below it, to a name that the other folder does not have yet, as
// CopyFile does. Left out are mount points and what is neither file, folder nor link. Returns 0 on success; a failure
// is logged, and leaves what has been copied so far.
[[nodiscard]] int CopyEntry(const Folder& from, const std::string& name, const Folder& to,
                            const std::string& copyName, EntryCopy how = EntryCopy::Durable);

// Whether both folders have, under that name, a regular file of the same content or a symbolic link of the same target.
// A file in `to` for which that holds has been flushed to disk.
bool HaveSameContent(const Folder& from, const Folder& to, const std::string& name);
