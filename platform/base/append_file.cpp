#include "platform/base/append_file.h"

#include <fcntl.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/base/paths.h"
#include "platform/base/umask_scope.h"

int OpenForAppend(std::string_view absolutePath, int access) {
    // Not blocking, since nothing may read from a FIFO in the file's place.
    const int flags = access | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    std::string path;
    if (ResolveForWriting(absolutePath, path))
        return -1;
    const int fd = open(path.c_str(), flags | O_NOFOLLOW);
    if (fd >= 0 || errno != ENOENT)
        return fd;
    path = ResolveEntry(absolutePath);
    std::error_code ignored;  // the open tells
    {
        const UmaskScope mask(0022);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    }
    const UmaskScope mask(0027);
    return open(path.c_str(), flags | O_CREAT | O_NOFOLLOW, 0640);
}
