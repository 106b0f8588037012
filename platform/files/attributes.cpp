#include "platform/files/attributes.h"

#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace {

// Extended attributes hold access lists and the like. One that the other file system cannot take is left out,
// as the owner, the mode and the content matter more than having the entry stay behind.
void CopyExtendedAttributes(int from, int to) {
    const ssize_t namesSize = flistxattr(from, nullptr, 0);
    if (namesSize <= 0)
        return;
    std::vector<char> names(static_cast<size_t>(namesSize));
    const ssize_t namesRead = flistxattr(from, names.data(), names.size());
    for (ssize_t at = 0; at < namesRead;
         at += static_cast<ssize_t>(std::strlen(&names[static_cast<size_t>(at)])) + 1) {
        const char* name = &names[static_cast<size_t>(at)];
        const ssize_t size = fgetxattr(from, name, nullptr, 0);
        if (size < 0)
            continue;
        std::vector<char> value(static_cast<size_t>(size));
        const ssize_t valueSize = fgetxattr(from, name, value.data(), value.size());
        if (valueSize >= 0)
            (void)fsetxattr(to, name, value.data(), static_cast<size_t>(valueSize), 0);
    }
}

// What the folder's default access list has given to a new entry, before its mode makes any of it count.
bool DropInheritedAccess(int fd) {
    for (const char* const name : {"system.posix_acl_access", "system.posix_acl_default"})
        if (fremovexattr(fd, name) != 0 && errno != ENODATA && errno != ENOTSUP && errno != EINVAL)
            return false;
    return true;
}

}  // namespace

// The owner first: a change of owner clears the set-id bits of the mode.
bool CopyOwnerAndMode(int from, const struct stat& status, int to) {
    struct stat own {};
    if (fstat(to, &own) != 0)
        return false;
    if ((own.st_uid != status.st_uid || own.st_gid != status.st_gid) &&
        fchown(to, status.st_uid, status.st_gid) != 0)
        return false;
    if (!DropInheritedAccess(to) || fchmod(to, status.st_mode & 07777) != 0)
        return false;
    CopyExtendedAttributes(from, to);
    return true;
}
