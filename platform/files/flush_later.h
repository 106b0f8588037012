// Flushes that can wait. What moves and removals change in a folder is on disk after VGFilesFlush: once for a folder,
// however often it changes.
#pragma once

#include "platform/files/folder.h"

// The folder's entries have changed. False, with errno, when it had to be flushed at once and could not.
bool FlushLater(const Folder& folder);

// Owners or modes have changed on the file system that holds the folder.
bool FlushFileSystemLater(const Folder& folder);

// Flushes what waits. A program calls it before it notes elsewhere that the changes are made. Returns 0, or -1 when
// something could not be flushed (logged), which then still waits.
[[nodiscard]] int VGFilesFlush();
