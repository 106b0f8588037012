#include "platform/base/package_user.h"

#include <sys/stat.h>

#include <cerrno>

#include "platform/base/disk_error.h"
#include "platform/base/once_more.h"
#include "platform/base/paths.h"

int FindPackageUser(Owner& owner) {
    struct stat status {};
    const int failed = OnceMore([&] {
        const int result = stat(ResolvePath(kTargetDir).c_str(), &status);
        if (result != 0)
            NoteErrno(errno);
        return result;
    });
    if (failed)
        return errno == ENOENT ? 0 : -1;
    owner = {.user = status.st_uid, .group = status.st_gid};
    return status.st_uid != 0 ? 1 : 0;
}
