#include "platform/files/rename_entry.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

bool RenameEntry(const Folder& from, const std::string& name, const Folder& to, const std::string& newName) {
    if (renameat2(from.Fd(), name.c_str(), to.Fd(), newName.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != ENOSYS && errno != EINVAL)
        return false;
    return RenameEntryByLink(from, name, to, newName);
}

bool RenameEntryByLink(const Folder& from, const std::string& name, const Folder& to,
                       const std::string& newName) {
    struct stat status {};
    if (!from.Stat(name, status))
        return false;
    if (!S_ISDIR(status.st_mode))
        return linkat(from.Fd(), name.c_str(), to.Fd(), newName.c_str(), 0) == 0 &&
               unlinkat(from.Fd(), name.c_str(), 0) == 0;
    // A folder has no second name, but its rename replaces at most an empty folder.
    return renameat(from.Fd(), name.c_str(), to.Fd(), newName.c_str()) == 0;
}
