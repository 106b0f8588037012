// libvgfault.so, loaded in front of the C library: takes the calls that change files, or read them, and gives
// each to the plan.
//
// SQLite and the C++ library reach the kernel through these symbols too. What goes past them (a stream of the
// C library, sendfile) is not seen; the driver notices, since the trace then does not explain the tree.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "tools/faults/fault_plan.h"

using fault::Call;
using fault::FindFd;
using fault::FindPath;
using fault::Place;
using fault::Verdict;

// The function of this name that would be called without this library.
#define NEXT(function) \
    static const auto next = reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

namespace {

constexpr off_t kAtPosition = -1;

off_t SizeOf(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 ? status.st_size : 0;
}

uint64_t InodeOf(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 ? status.st_ino : 0;
}

// Any call but a write or an open; function returns 0 when it went well.
template <typename Function>
int Do(Call& call, Function function) {
    if (Judge(call) != Verdict::Go)
        return -1;
    const int result = function();
    fault::Record(call, result != 0);
    return result;
}

// A call that puts a new name into a folder.
template <typename Function>
int DoMake(Call& call, Function function) {
    call.needsSpace = true;
    if (Judge(call) != Verdict::Go)
        return -1;
    const int result = function();
    struct stat status {};
    if (result == 0 && fault::Status(AT_FDCWD, call.place->path, &status, AT_SYMLINK_NOFOLLOW) == 0) {
        call.inode = status.st_ino;
        call.value = status.st_mode;
    }
    fault::Record(call, result != 0);
    return result;
}

// write(size) does the first `size` bytes of the write.
template <typename Write>
ssize_t DoWrite(const char* function, int fd, const void* data, size_t size, off_t offset, Write write) {
    Place place;
    if (!FindFd(fd, place)) {
        Call message{Op::Message, function, nullptr};
        message.data = data;
        message.dataSize = static_cast<uint32_t>(size);
        if (fault::IsPackageLog(fd))
            fault::Record(message, false);
        return write(size);
    }
    const off_t end = SizeOf(fd);
    if (offset == kAtPosition)
        offset = fcntl(fd, F_GETFL) & O_APPEND ? end : lseek(fd, 0, SEEK_CUR);
    Call call{Op::Write, function, &place, InodeOf(fd), offset};
    call.data = data;
    call.dataSize = static_cast<uint32_t>(size);
    call.needsSpace = true;
    call.grows = offset + static_cast<off_t>(size) > end;
    const Verdict verdict = Judge(call);
    if (verdict == Verdict::Fail)
        return -1;
    const ssize_t written = write(verdict == Verdict::Go ? size : size / 2);
    if (verdict == Verdict::HalfKill)
        fault::Die();
    if (written >= 0)
        call.dataSize = static_cast<uint32_t>(written);
    fault::Record(call, written < 0);
    return written;
}

// A call that leaves the file alone; `failure` is what it returns when it is let fail.
template <typename Result, typename Function>
Result DoRead(const char* name, Op op, int dirFd, const char* path, Result failure, Function function) {
    Place place;
    if (!fault::SeesReads() || !(path ? FindPath(dirFd, path, place) : FindFd(dirFd, place)))
        return function();
    const Call call{op, name, &place};
    if (Judge(call) != Verdict::Go)
        return failure;
    const Result result = function();
    fault::Record(call, result == failure);
    return result;
}

// The bytes of a vector, in one piece.
struct Gathered {
    Gathered(const iovec* parts, int count) {
        for (int i = 0; i < count; ++i)
            size += parts[i].iov_len;
        data = static_cast<char*>(std::malloc(size + 1));
        char* to = data;
        for (int i = 0; i < count; ++i)
            to = static_cast<char*>(mempcpy(to, parts[i].iov_base, parts[i].iov_len));
    }
    Gathered(const Gathered&) = delete;
    Gathered& operator=(const Gathered&) = delete;
    ~Gathered() { std::free(data); }

    size_t size = 0;
    char* data;
};

template <typename Open>
int DoOpen(const char* function, int dirFd, const char* path, int flags, Open open) {
    Place place;
    struct stat status {};
    if ((!(flags & (O_CREAT | O_TRUNC)) && !fault::SeesReads()) || !FindPath(dirFd, path, place))
        return open();
    const bool there = fault::Status(dirFd, path, &status) == 0;
    const bool creates = (flags & O_CREAT) && !there;
    const bool empties = (flags & O_TRUNC) && there && status.st_size > 0;
    Call call{creates ? Op::Create : empties ? Op::Truncate : Op::Open, function, &place, status.st_ino};
    call.needsSpace = creates;
    if (call.op == Op::Open) {
        if (!fault::SeesReads())
            return open();
        call.value = (flags & O_ACCMODE) != O_RDONLY;
    }
    if (Judge(call) != Verdict::Go)
        return -1;
    const int fd = open();
    if (creates && fd >= 0 && fstat(fd, &status) == 0) {
        call.inode = status.st_ino;
        call.value = status.st_mode;
    }
    fault::Record(call, fd < 0);
    return fd;
}

// The mode argument of an open, when there is one.
#define OPEN_MODE(flags)                                         \
    mode_t mode = 0;                                             \
    if (((flags)&O_CREAT) || ((flags)&O_TMPFILE) == O_TMPFILE) { \
        va_list args;                                            \
        va_start(args, flags);                                   \
        mode = va_arg(args, mode_t);                             \
        va_end(args);                                            \
    }

template <typename Function>
int DoTruncate(const char* name, const Place& place, uint64_t inode, off_t oldSize, off_t size,
               Function function) {
    Call call{Op::Truncate, name, &place, inode, size};
    call.needsSpace = size > oldSize;
    return Do(call, function);
}

// 0, or the error's number as posix_fallocate gives it.
template <typename Function>
int DoAllocate(const char* name, int fd, off_t end, bool keepsSize, Function function) {
    Place place;
    if (!FindFd(fd, place))
        return function();
    const off_t size = SizeOf(fd);
    Call call{Op::Other, name, &place, InodeOf(fd)};
    call.needsSpace = true;
    if (!keepsSize && end > size) {
        call.op = Op::Truncate;
        call.value = end;
    }
    if (Judge(call) != Verdict::Go)
        return errno;
    const int error = function();
    fault::Record(call, error != 0);
    return error;
}

template <typename Function>
int DoRemove(const char* name, Op op, int dirFd, const char* path, Function function) {
    Place place;
    if (!FindPath(dirFd, path, place))
        return function();
    Call call{op, name, &place};
    return Do(call, function);
}

template <typename Function>
int DoRename(const char* name, int dirFd, const char* path, int newDirFd, const char* newPath,
             Function function) {
    Place place;
    Place newPlace;
    if (!FindPath(dirFd, path, place) || !FindPath(newDirFd, newPath, newPlace))
        return function();
    Call call{Op::Rename, name, &place, 0, 0, &newPlace};
    return Do(call, function);
}

template <typename Function>
int DoFlush(const char* name, Op op, int fd, Function function) {
    Place place;
    if (!FindFd(fd, place))
        return function();
    Call call{op, name, &place, InodeOf(fd)};
    return Do(call, function);
}

// A change of an inode's mode, owner or times, by its path or its descriptor.
template <typename Function>
int DoChange(const char* name, Op op, const Place& place, int64_t value, Function function) {
    struct stat status {};
    Call call{op, name, &place, fault::Status(AT_FDCWD, place.path, &status) == 0 ? status.st_ino : 0, value};
    return Do(call, function);
}

template <typename Function>
int DoChangeFd(const char* name, Op op, int fd, int64_t value, Function function) {
    Place place;
    if (!FindFd(fd, place))
        return function();
    Call call{op, name, &place, InodeOf(fd), value};
    return Do(call, function);
}

template <typename Function>
int DoChangePath(const char* name, Op op, int dirFd, const char* path, int64_t value, Function function) {
    Place place;
    return FindPath(dirFd, path, place) ? DoChange(name, op, place, value, function) : function();
}

int64_t Owner(uid_t user, gid_t group) {
    return static_cast<int64_t>(static_cast<uint64_t>(user) << 32 | group);
}

constexpr int64_t kSecond = 1'000'000'000;
int64_t ToNanoseconds(const timespec& time) { return time.tv_sec * kSecond + time.tv_nsec; }
timespec ToTimespec(int64_t time) { return {time / kSecond, time % kSecond}; }

}  // namespace

extern "C" {

// Content -------------------------------------------------------------------------------------------------

ssize_t write(int fd, const void* data, size_t size) {
    NEXT(write);
    return DoWrite(__func__, fd, data, size, kAtPosition, [&](size_t n) { return next(fd, data, n); });
}

ssize_t pwrite(int fd, const void* data, size_t size, off_t offset) {
    NEXT(pwrite);
    return DoWrite(__func__, fd, data, size, offset, [&](size_t n) { return next(fd, data, n, offset); });
}

ssize_t pwrite64(int fd, const void* data, size_t size, off64_t offset) {
    NEXT(pwrite64);
    return DoWrite(__func__, fd, data, size, offset, [&](size_t n) { return next(fd, data, n, offset); });
}

ssize_t writev(int fd, const iovec* parts, int count) {
    NEXT(write);
    const Gathered all(parts, count);
    return DoWrite(__func__, fd, all.data, all.size, kAtPosition,
                   [&](size_t n) { return next(fd, all.data, n); });
}

ssize_t pwritev(int fd, const iovec* parts, int count, off_t offset) {
    NEXT(pwrite);
    const Gathered all(parts, count);
    return DoWrite(__func__, fd, all.data, all.size, offset,
                   [&](size_t n) { return next(fd, all.data, n, offset); });
}

int ftruncate(int fd, off_t size) noexcept {
    NEXT(ftruncate);
    Place place;
    const auto go = [&] { return next(fd, size); };
    return FindFd(fd, place) ? DoTruncate(__func__, place, InodeOf(fd), SizeOf(fd), size, go) : go();
}

int ftruncate64(int fd, off64_t size) noexcept { return ftruncate(fd, size); }

int truncate(const char* path, off_t size) noexcept {
    NEXT(truncate);
    Place place;
    struct stat status {};
    const auto go = [&] { return next(path, size); };
    return FindPath(AT_FDCWD, path, place) && fault::Status(AT_FDCWD, path, &status) == 0
               ? DoTruncate(__func__, place, status.st_ino, status.st_size, size, go)
               : go();
}

int truncate64(const char* path, off64_t size) noexcept { return truncate(path, size); }

int fallocate(int fd, int mode, off_t offset, off_t size) {
    NEXT(fallocate);
    const int error = DoAllocate(__func__, fd, offset + size, mode & FALLOC_FL_KEEP_SIZE,
                                 [&] { return next(fd, mode, offset, size) == 0 ? 0 : errno; });
    errno = error ? error : errno;
    return error ? -1 : 0;
}

int fallocate64(int fd, int mode, off64_t offset, off64_t size) { return fallocate(fd, mode, offset, size); }

int posix_fallocate(int fd, off_t offset, off_t size) {
    NEXT(posix_fallocate);
    return DoAllocate(__func__, fd, offset + size, false, [&] { return next(fd, offset, size); });
}

int posix_fallocate64(int fd, off64_t offset, off64_t size) { return posix_fallocate(fd, offset, size); }

// Blocks that are shared would not be in the trace.
int ioctl(int fd, unsigned long request, ...) noexcept {
    NEXT(ioctl);
    va_list args;
    va_start(args, request);
    void* const argument = va_arg(args, void*);
    va_end(args);
    Place place;
    if (request != FICLONE || !FindFd(fd, place))
        return next(fd, request, argument);
    errno = EOPNOTSUPP;
    return -1;
}

// Flushes -------------------------------------------------------------------------------------------------

int fsync(int fd) {
    NEXT(fsync);
    return DoFlush(__func__, Op::Flush, fd, [&] { return next(fd); });
}

int fdatasync(int fd) {
    NEXT(fdatasync);
    return DoFlush(__func__, Op::FlushData, fd, [&] { return next(fd); });
}

int syncfs(int fd) noexcept {
    NEXT(syncfs);
    return DoFlush(__func__, Op::FlushAll, fd, [&] { return next(fd); });
}

// Names ---------------------------------------------------------------------------------------------------

int open(const char* path, int flags, ...) {
    NEXT(open);
    OPEN_MODE(flags)
    return DoOpen(__func__, AT_FDCWD, path, flags, [&] { return next(path, flags, mode); });
}

int open64(const char* path, int flags, ...) {
    NEXT(open64);
    OPEN_MODE(flags)
    return DoOpen(__func__, AT_FDCWD, path, flags, [&] { return next(path, flags, mode); });
}

int openat(int dirFd, const char* path, int flags, ...) {
    NEXT(openat);
    OPEN_MODE(flags)
    return DoOpen(__func__, dirFd, path, flags, [&] { return next(dirFd, path, flags, mode); });
}

int openat64(int dirFd, const char* path, int flags, ...) {
    NEXT(openat64);
    OPEN_MODE(flags)
    return DoOpen(__func__, dirFd, path, flags, [&] { return next(dirFd, path, flags, mode); });
}

// The forms that a program checked by the compiler's library calls, when the flags are known only when it runs.
int __open_2(const char* path, int flags) { return open(path, flags); }
int __open64_2(const char* path, int flags) { return open64(path, flags); }
int __openat_2(int dirFd, const char* path, int flags) { return openat(dirFd, path, flags); }
int __openat64_2(int dirFd, const char* path, int flags) { return openat64(dirFd, path, flags); }

int creat(const char* path, mode_t mode) { return open(path, O_CREAT | O_WRONLY | O_TRUNC, mode); }
int creat64(const char* path, mode_t mode) { return open64(path, O_CREAT | O_WRONLY | O_TRUNC, mode); }

int mkdirat(int dirFd, const char* path, mode_t mode) noexcept {
    NEXT(mkdirat);
    Place place;
    const auto go = [&] { return next(dirFd, path, mode); };
    if (!FindPath(dirFd, path, place))
        return go();
    Call call{Op::MakeFolder, __func__, &place};
    return DoMake(call, go);
}

int mkdir(const char* path, mode_t mode) noexcept { return mkdirat(AT_FDCWD, path, mode); }

int symlinkat(const char* target, int dirFd, const char* path) noexcept {
    NEXT(symlinkat);
    Place place;
    const auto go = [&] { return next(target, dirFd, path); };
    if (!FindPath(dirFd, path, place))
        return go();
    Call call{Op::Symlink, __func__, &place};
    call.data = target;
    call.dataSize = static_cast<uint32_t>(std::strlen(target));
    return DoMake(call, go);
}

int symlink(const char* target, const char* path) noexcept { return symlinkat(target, AT_FDCWD, path); }

int linkat(int oldDirFd, const char* oldPath, int dirFd, const char* path, int flags) noexcept {
    NEXT(linkat);
    Place place;
    const auto go = [&] { return next(oldDirFd, oldPath, dirFd, path, flags); };
    if (!FindPath(dirFd, path, place))
        return go();
    Call call{Op::Link, __func__, &place};
    return DoMake(call, go);
}

int link(const char* oldPath, const char* path) noexcept {
    return linkat(AT_FDCWD, oldPath, AT_FDCWD, path, 0);
}

int rename(const char* path, const char* newPath) noexcept {
    NEXT(rename);
    return DoRename(__func__, AT_FDCWD, path, AT_FDCWD, newPath, [&] { return next(path, newPath); });
}

int renameat(int dirFd, const char* path, int newDirFd, const char* newPath) noexcept {
    NEXT(renameat);
    return DoRename(__func__, dirFd, path, newDirFd, newPath,
                    [&] { return next(dirFd, path, newDirFd, newPath); });
}

int renameat2(int dirFd, const char* path, int newDirFd, const char* newPath, unsigned flags) noexcept {
    NEXT(renameat2);
    return DoRename(__func__, dirFd, path, newDirFd, newPath,
                    [&] { return next(dirFd, path, newDirFd, newPath, flags); });
}

int unlink(const char* path) noexcept {
    NEXT(unlink);
    return DoRemove(__func__, Op::Remove, AT_FDCWD, path, [&] { return next(path); });
}

int unlinkat(int dirFd, const char* path, int flags) noexcept {
    NEXT(unlinkat);
    const Op op = flags & AT_REMOVEDIR ? Op::RemoveFolder : Op::Remove;
    return DoRemove(__func__, op, dirFd, path, [&] { return next(dirFd, path, flags); });
}

int rmdir(const char* path) noexcept {
    NEXT(rmdir);
    return DoRemove(__func__, Op::RemoveFolder, AT_FDCWD, path, [&] { return next(path); });
}

int remove(const char* path) noexcept {
    struct stat status {};
    return fault::Status(AT_FDCWD, path, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode)
               ? rmdir(path)
               : unlink(path);
}

// Modes, owners, times ------------------------------------------------------------------------------------

int fchmod(int fd, mode_t mode) noexcept {
    NEXT(fchmod);
    return DoChangeFd(__func__, Op::SetMode, fd, mode, [&] { return next(fd, mode); });
}

int fchmodat(int dirFd, const char* path, mode_t mode, int flags) noexcept {
    NEXT(fchmodat);
    return DoChangePath(__func__, Op::SetMode, dirFd, path, mode,
                        [&] { return next(dirFd, path, mode, flags); });
}

int chmod(const char* path, mode_t mode) noexcept { return fchmodat(AT_FDCWD, path, mode, 0); }

int fchown(int fd, uid_t user, gid_t group) noexcept {
    NEXT(fchown);
    return DoChangeFd(__func__, Op::SetOwner, fd, Owner(user, group), [&] { return next(fd, user, group); });
}

int fchownat(int dirFd, const char* path, uid_t user, gid_t group, int flags) noexcept {
    NEXT(fchownat);
    const auto go = [&] { return next(dirFd, path, user, group, flags); };
    if ((flags & AT_EMPTY_PATH) && !*path)
        return DoChangeFd(__func__, Op::SetOwner, dirFd, Owner(user, group), go);
    const Op op = flags & AT_SYMLINK_NOFOLLOW ? Op::Other : Op::SetOwner;
    return DoChangePath(__func__, op, dirFd, path, Owner(user, group), go);
}

int chown(const char* path, uid_t user, gid_t group) noexcept {
    return fchownat(AT_FDCWD, path, user, group, 0);
}

int lchown(const char* path, uid_t user, gid_t group) noexcept {
    return fchownat(AT_FDCWD, path, user, group, AT_SYMLINK_NOFOLLOW);
}

int futimens(int fd, const timespec times[2]) noexcept {
    NEXT(futimens);
    return DoChangeFd(__func__, Op::SetTimes, fd, 0, [&] { return next(fd, times); });
}

int utimensat(int dirFd, const char* path, const timespec times[2], int flags) noexcept {
    NEXT(utimensat);
    const Op op = flags & AT_SYMLINK_NOFOLLOW ? Op::Other : Op::SetTimes;
    return DoChangePath(__func__, op, dirFd, path, 0, [&] { return next(dirFd, path, times, flags); });
}

// Reading -------------------------------------------------------------------------------------------------

ssize_t read(int fd, void* data, size_t size) {
    NEXT(read);
    return DoRead(__func__, Op::Read, fd, nullptr, ssize_t{-1}, [&] { return next(fd, data, size); });
}

ssize_t pread(int fd, void* data, size_t size, off_t offset) {
    NEXT(pread);
    return DoRead(__func__, Op::Read, fd, nullptr, ssize_t{-1}, [&] { return next(fd, data, size, offset); });
}

ssize_t pread64(int fd, void* data, size_t size, off64_t offset) { return pread(fd, data, size, offset); }

ssize_t __read_chk(int fd, void* data, size_t size, size_t room) {
    NEXT(__read_chk);
    return DoRead("read", Op::Read, fd, nullptr, ssize_t{-1}, [&] { return next(fd, data, size, room); });
}

ssize_t __pread_chk(int fd, void* data, size_t size, off_t offset, size_t room) {
    NEXT(__pread_chk);
    return DoRead("pread", Op::Read, fd, nullptr, ssize_t{-1},
                  [&] { return next(fd, data, size, offset, room); });
}

ssize_t __pread64_chk(int fd, void* data, size_t size, off64_t offset, size_t room) {
    return __pread_chk(fd, data, size, offset, room);
}

#define LOOK(function, Status)                                                                      \
    int function(const char* path, Status* status) noexcept {                                       \
        NEXT(function);                                                                             \
        return DoRead(#function, Op::Look, AT_FDCWD, path, -1, [&] { return next(path, status); }); \
    }
LOOK(stat, struct stat)
LOOK(stat64, struct stat64)
LOOK(lstat, struct stat)
LOOK(lstat64, struct stat64)

int fstatat(int dirFd, const char* path, struct stat* status, int flags) noexcept {
    NEXT(fstatat);
    return DoRead(__func__, Op::Look, dirFd, path, -1, [&] { return next(dirFd, path, status, flags); });
}

int access(const char* path, int mode) noexcept {
    NEXT(access);
    return DoRead(__func__, Op::Look, AT_FDCWD, path, -1, [&] { return next(path, mode); });
}

DIR* opendir(const char* path) {
    NEXT(opendir);
    return DoRead(__func__, Op::Open, AT_FDCWD, path, static_cast<DIR*>(nullptr), [&] { return next(path); });
}

FILE* fopen(const char* path, const char* mode) {
    NEXT(fopen);
    const auto go = [&] { return next(path, mode); };
    return *mode == 'r' ? DoRead(__func__, Op::Open, AT_FDCWD, path, static_cast<FILE*>(nullptr), go) : go();
}

FILE* fopen64(const char* path, const char* mode) { return fopen(path, mode); }

// Time ----------------------------------------------------------------------------------------------------

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    NEXT(clock_gettime);
    static timespec begin{};
    const int result = next(clock, time);
    if (clock != CLOCK_MONOTONIC || result != 0)
        return result;
    if (begin.tv_sec == 0)
        begin = *time;
    const int64_t now = ToNanoseconds(begin) + fault::Hastened(ToNanoseconds(*time) - ToNanoseconds(begin));
    *time = ToTimespec(now);
    return 0;
}

int nanosleep(const timespec* wait, timespec* left) {
    NEXT(nanosleep);
    const timespec shorter = ToTimespec(fault::Shortened(ToNanoseconds(*wait)));
    return next(&shorter, left);
}

int usleep(useconds_t wait) {
    NEXT(usleep);
    return next(static_cast<useconds_t>(fault::Shortened(wait)));
}

unsigned sleep(unsigned seconds) {
    usleep(seconds * 1'000'000);
    return 0;
}

}  // extern "C"
