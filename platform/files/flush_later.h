// Flushes that can wait. What moves and removals change in a folder is on disk after VGFilesFlush: once for a folder,
// however often it changes.
#pragma once

#include <string>

#include "platform/files/folder.h"

// The folder's entries have changed. False, with errno, when it had to be flushed at once and could not.
bool FlushLater(const Folder& folder);

// Owners or modes have changed on the file system that holds the folder.
bool FlushFileSystemLater(const Folder& folder);

// Flushes what waits; no folder by itself whose whole file system is flushed. A program calls it before it notes
// elsewhere that the changes are made. Returns '', or what could not be flushed ("PATH: TEXT", logged); it waits on.
[[nodiscard]] std::string VGFilesFlush();
