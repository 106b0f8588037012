#include "platform/files/copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/base/package_log.h"
#include "platform/base/strings.h"
#include "platform/files/attributes.h"
#include "platform/files/file_io.h"

namespace {

constexpr size_t kBlockSize = 1024 * 1024;

int LogNotCopied(const Folder& from, const std::string& name, const Folder& to, const std::string& copyName) {
    return LogErrno("copy", from.PathOf(name) + " to " + to.PathOf(copyName));
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

bool CopyOpenFile(const Folder& from, const std::string& name, const Folder& to, const std::string& copyName,
                  EntryCopy how) {
    const UniqueFd source = from.OpenFile(name);
    struct stat status {};
    if (!source || fstat(source.Get(), &status) != 0)
        return false;
    const UniqueFd copy = CopyFile(source.Get(), to, copyName);
    return copy && (how == EntryCopy::Passing || (IsUnchanged(source.Get(), status) && Flush(copy.Get())));
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
               const std::string& copyName, EntryCopy how) {
    std::vector<std::string> names;
    const Folder source = from.OpenFolder(name);
    if (!source || !source.List(names) || mkdirat(to.Fd(), copyName.c_str(), 0700) != 0)
        return LogNotCopied(from, name, to, copyName);
    const Folder copy = to.OpenFolder(copyName);
    if (!copy)
        return LogNotCopied(from, name, to, copyName);
    for (const std::string& child : names) {
        if (CopyEntry(source, child, copy, child, how))
            return -1;
    }
    if (!CopyAttributes(source.Fd(), status, copy.Fd()) || (how == EntryCopy::Durable && !copy.Sync()))
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

UniqueFd CopyFile(int from, const Folder& to, const std::string& name, const BlockSink& sink) {
    struct stat status {};
    if (fstat(from, &status) != 0)
        return UniqueFd();
    UniqueFd copy(openat(to.Fd(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!copy)
        return copy;
    const bool isShared = ioctl(copy.Get(), FICLONE, from) == 0;
    const bool copied =
        isShared ? !sink || ReadBlocks(copy.Get(), sink) : ReadBlocks(from, [&](std::string_view block) {
            return WriteAll(copy.Get(), block) && (!sink || sink(block));
        });
    return copied && CopyAttributes(from, status, copy.Get()) ? std::move(copy) : UniqueFd();
}

bool ReadBlocks(int fd, const BlockSink& sink) {
    (void)posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    std::vector<char> block(kBlockSize);
    for (off_t at = 0;;) {
        const ssize_t count = RetryInterrupted([&] { return pread(fd, block.data(), block.size(), at); });
        if (count <= 0)
            return count == 0;
        if (!sink({block.data(), static_cast<size_t>(count)}))
            return false;
        at += count;
    }
}

bool CanShareBlocks(int from, const Folder& to) {
    const UniqueFd trial(openat(to.Fd(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    return trial && ioctl(trial.Get(), FICLONE, from) == 0;
}

std::string FindRoom(const Folder& folder, uint64_t needed) {
    struct statvfs file_system {};
    if (fstatvfs(folder.Fd(), &file_system) != 0)
        return "";
    const uint64_t free = uint64_t{file_system.f_bavail} * file_system.f_frsize;
    if (needed <= free)
        return "";
    return StringPrintf("The file system of %s is too full: %llu bytes are needed, %llu are free",
                        folder.PathOf("").c_str(), static_cast<unsigned long long>(needed),
                        static_cast<unsigned long long>(free));
}

int CopyEntry(const Folder& from, const std::string& name, const Folder& to, const std::string& copyName,
              EntryCopy how) {
    struct stat status {};
    if (!from.Stat(name, status))
        return LogNotCopied(from, name, to, copyName);
    if (S_ISDIR(status.st_mode))
        return from.IsMountPoint(name, status) ? 0 : CopyFolder(from, name, status, to, copyName, how);
    if ((S_ISREG(status.st_mode) && !CopyOpenFile(from, name, to, copyName, how)) ||
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
