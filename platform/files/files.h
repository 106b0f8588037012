// Moves, removals and creations of the package's files and folders.
//
// The folders on the way to an entry may be symbolic links, as they are on a NAS whose volumes move. The
// entry itself and everything below it are never followed: a symbolic link there is moved or removed as a
// link. A folder below which another file system is mounted keeps that mount point.
//
// Every call is safe to run again after one that was cut short, does nothing when there is nothing to do, and
// returns 0 or, when something had to stay, -1; each entry that stays is logged here. Paths are real ones
// (see ResolveEntry).
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

// Moves a file, a symbolic link or a folder with all in it into another folder, which must exist. No such
// entry, or one that is in that folder already: nothing to do.
//
// Nothing at the destination is ever replaced. A folder that stands there is merged into, entry by entry; an
// entry that the destination holds with the same content is already moved and goes from the source; any
// other stays where it is.
//
// Within a file system a move is one rename. Across file systems the whole entry is copied, with owner, mode,
// times and extended attributes, to a temporary name beside the destination, flushed and renamed; only then
// does the source go, each file after its copy has been compared with it. A source that takes up more than
// one file system, and what is neither file, folder nor link, stays.
[[nodiscard]] int VGFileMove(const std::string& path, const std::string& toFolder);

// Gives a folder another name in the folder that holds it; one that has that name already is merged into, as
// by a move. Anything else of the old name is left alone.
[[nodiscard]] int VGFolderRename(const std::string& path, const std::string& newName);

// Removes a file or a symbolic link; anything else of that name is left alone.
[[nodiscard]] int VGFileRemove(const std::string& path);

// Removes a folder and all in it; anything else of that name is left alone.
[[nodiscard]] int VGFolderRemove(const std::string& path);

// Removes the regular files directly in the folder whose names end in `suffix`.
[[nodiscard]] int VGFolderRemoveFiles(const std::string& folder, std::string_view suffix);

// Creates an empty file with that mode, whatever the umask, where nothing stands, not even a link.
[[nodiscard]] int VGFileCreate(const std::string& path, mode_t mode);
