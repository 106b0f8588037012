#include "platform/files/copy_entry.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/base/library_log.h"
#include "platform/files/attributes.h"
#include "platform/files/file_io.h"

namespace {

constexpr size_t kBlockSize = 256 * 1024;

int LogNotCopied(const Folder& from, const std::string& name, const Folder& to, const std::string& copyName) {
    return LogErrno("copy", from.PathOf(name) + " to " + to.PathOf(copyName));
}

bool CopyContent(int from, int to) {
    std::vector<char> block(kBlockSize);
    for (;;) {
        const ssize_t count = ReadBlock(from, block);
        if (count <= 0)
            return count == 0;
        if (!WriteAll(to, {block.data(), static_cast<size_t>(count)}))
            return false;
    }
}

bool CopyAttributes(int from, const struct stat& status, int to) {
    const std::array<timespec, 2> times = {status.st_atim, status.st_mtim};
    return CopyOwnerAndMode(from, status, to) && futimens(to, times.data()) == 0;
}

bool IsUnchanged(int fd, const struct stat& before) {
    struct stat now {};
    if (fstat(fd, &now) != 0)
        return false;
    if (now.st_size == before.st_size && now.st_mtim.tv_sec == before.st_mtim.tv_sec &&
        now.st_mtim.tv_nsec == before.st_mtim.tv_nsec)
        return true;
    errno = EBUSY;
    return false;
}

bool CopyFile(const Folder& from, const std::string& name, const Folder& to, const std::string& copyName) {
    const UniqueFd source = from.OpenFile(name);
    struct stat status {};
    if (!source || fstat(source.Get(), &status) != 0)
        return false;
    const UniqueFd copy(openat(to.Fd(), copyName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return copy && CopyContent(source.Get(), copy.Get()) && IsUnchanged(source.Get(), status) &&
           CopyAttributes(source.Get(), status, copy.Get()) && Flush(copy.Get());
}

bool CopyLink(const Folder& from, const std::string& name, const struct stat& status, const Folder& to,
              const std::string& copyName) {
    std::string target;
    const std::array<timespec, 2> times = {status.st_atim, status.st_mtim};
    return from.ReadLink(name, target) && symlinkat(target.c_str(), to.Fd(), copyName.c_str()) == 0 &&
           fchownat(to.Fd(), copyName.c_str(), status.st_uid, status.st_gid, AT_SYMLINK_NOFOLLOW) == 0 &&
           utimensat(to.Fd(), copyName.c_str(), times.data(), AT_SYMLINK_NOFOLLOW) == 0;
}

int CopyFolder(const Folder& from, const std::string& name, const struct stat& status, const Folder& to,
               const std::string& copyName) {
    std::vector<std::string> names;
    const Folder source = from.OpenFolder(name);
    if (!source || !source.List(names) || mkdirat(to.Fd(), copyName.c_str(), 0700) != 0)
        return LogNotCopied(from, name, to, copyName);
    const Folder copy = to.OpenFolder(copyName);
    if (!copy)
        return LogNotCopied(from, name, to, copyName);
    for (const std::string& child : names) {
        if (CopyEntry(source, child, copy, child))
            return -1;
    }
    if (!CopyAttributes(source.Fd(), status, copy.Fd()) || !copy.Sync())
        return LogNotCopied(from, name, to, copyName);
    return 0;
}

bool HaveSameBytes(int first, int second) {
    std::vector<char> firstBlock(kBlockSize);
    std::vector<char> secondBlock(kBlockSize);
    for (;;) {
        const ssize_t count = ReadBlock(first, firstBlock);
        if (count < 0 || ReadBlock(second, secondBlock) != count ||
            std::memcmp(firstBlock.data(), secondBlock.data(), static_cast<size_t>(count)) != 0)
            return false;
        if (count == 0)
            return true;
    }
}

}  // namespace

int CopyEntry(const Folder& from, const std::string& name, const Folder& to, const std::string& copyName) {
    struct stat status {};
    if (!from.Stat(name, status))
        return LogNotCopied(from, name, to, copyName);
    if (S_ISDIR(status.st_mode))
        return from.IsMountPoint(name, status) ? 0 : CopyFolder(from, name, status, to, copyName);
    if ((S_ISREG(status.st_mode) && !CopyFile(from, name, to, copyName)) ||
        (S_ISLNK(status.st_mode) && !CopyLink(from, name, status, to, copyName)))
        return LogNotCopied(from, name, to, copyName);
    return 0;
}

bool HaveSameContent(const Folder& from, const Folder& to, const std::string& name) {
    struct stat first {};
    struct stat second {};
    if (!from.Stat(name, first) || !to.Stat(name, second))
        return false;
    if (S_ISLNK(first.st_mode) && S_ISLNK(second.st_mode)) {
        std::string firstTarget;
        std::string secondTarget;
        return from.ReadLink(name, firstTarget) && to.ReadLink(name, secondTarget) &&
               firstTarget == secondTarget;
    }
    if (!S_ISREG(first.st_mode) || !S_ISREG(second.st_mode) || first.st_size != second.st_size)
        return false;
    const UniqueFd firstFile = from.OpenFile(name);
    const UniqueFd secondFile = to.OpenFile(name);
    return firstFile && secondFile && HaveSameBytes(firstFile.Get(), secondFile.Get()) &&
           Flush(secondFile.Get());
}
