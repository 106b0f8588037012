// libvgfault.so, loaded in front of the C library and SQLite: takes the calls that change files, or read them, and
// lets each go, fail, or be the process's last (see fault.h). Without VGFAULT all go untouched.
//
// What goes past the symbols here (a stream of the C library that writes, sendfile) is not seen; the driver notices,
// since the trace then does not explain the tree.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>
#include <type_traits>

#include "tools/faults/fault.h"

// The function of this name that would be called without this library.
#define NEXT(function) \
    static const auto next = reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

namespace {

constexpr std::string_view kPackageLog = "/var/log/vigilo/vgupgrader.log";
constexpr int64_t kSecond = 1'000'000'000;

struct Plan {
    bool isOn = false;
    char root[PATH_MAX] = "";
    size_t rootLength = 0;
    Mode mode = Mode::Trace;
    long at = 0;
    int reads = 0;
    int error = EIO;
    Which which = Which::None;
    char path[PATH_MAX] = "";
    long times = 0;
    long haste = 1;
    int during = -1;
    int out = -1;
};

Plan g_plan;
long g_count = 0;      // calls so far
long g_failed = 0;     // calls that were let fail
int64_t g_waited = 0;  // of the program's time
int g_progress = -1;   // memory that the program shares

// A file or folder below the tree, by its path, or by its name in a folder.
struct Place {
    char path[PATH_MAX];
    const char* relative = "";  // the path below the tree
    const char* name = "";      // its last part
    uint64_t folder = 0;        // inode of the folder that holds the name
};

struct Call {
    Op op;
    const char* function;
    const Place* place;
    uint64_t inode = 0;
    int64_t value = 0;
    const Place* newPlace = nullptr;
    const void* data = nullptr;
    uint32_t dataSize = 0;
    bool needsSpace = false;
    bool grows = true;  // of a call that needs space: also on a file system that overwrites in place
};

enum class Verdict { Go, Fail, HalfKill, HalfGo };

// The library's own files are written by syscall(), which is not among the calls it replaces.
void Out(const void* data, size_t size) {
    while (size > 0) {
        const long count = syscall(SYS_write, g_plan.out, data, size);
        if (count <= 0)
            _exit(99);  // a trace with a hole would mislead
        data = static_cast<const char*>(data) + count;
        size -= static_cast<size_t>(count);
    }
}

__attribute__((constructor)) void ReadPlan() {
    const char* const root = std::getenv("VG_SYSROOT");
    const char* const plan = std::getenv("VGFAULT");
    char out[PATH_MAX];
    int mode = 0, which = 0;
    if (!root || !plan || !realpath(root, g_plan.root) ||
        std::sscanf(plan, "%d %ld %d %d %d %s %ld %ld %d %s", &mode, &g_plan.at, &g_plan.reads, &g_plan.error,
                    &which, g_plan.path, &g_plan.times, &g_plan.haste, &g_plan.during, out) != 10)
        return;
    g_plan.rootLength = std::strlen(g_plan.root);
    g_plan.mode = static_cast<Mode>(mode);
    g_plan.which = static_cast<Which>(which);
    if (std::strcmp(g_plan.path, "-") == 0)
        *g_plan.path = '\0';
    g_plan.out = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, out, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600));
    g_plan.isOn = true;
}

__attribute__((destructor)) void TellWaited() {
    char text[40];
    if (g_plan.isOn && g_plan.mode != Mode::Trace)
        Out(text,
            static_cast<size_t>(std::snprintf(text, sizeof text, "\n%lld", g_waited / (kSecond / 1000LL))));
}

// As fstatat, which this library replaces.
bool Status(int dirFd, const char* path, struct stat& status, int flags = 0) {
    static const auto next = reinterpret_cast<decltype(&fstatat)>(dlsym(RTLD_NEXT, "fstatat"));
    return next(dirFd, path, &status, flags) == 0;
}

bool PathOfFd(int fd, char (&path)[PATH_MAX]) {
    char link[40];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length > 0)
        path[length] = '\0';
    return length > 0;
}

bool IsInTree(Place& place) {
    place.relative = place.path + g_plan.rootLength;
    return std::strncmp(place.path, g_plan.root, g_plan.rootLength) == 0 &&
           (*place.relative == '/' || *place.relative == '\0');
}

// Both are false for what does not count.
bool FindFd(int fd, Place& place) {
    const int error = errno;
    const bool found =
        g_plan.isOn && PathOfFd(fd, place.path) && IsInTree(place) && place.relative != kPackageLog;
    errno = error;
    return found;
}

// The folder by its real path, and the name in it as it stands: what is created or removed is the name.
bool FindPath(int dirFd, const char* path, Place& place) {
    if (!g_plan.isOn || !path || !*path)
        return false;
    const int error = errno;
    char folder[PATH_MAX] = "";
    char whole[PATH_MAX];
    bool found = *path == '/' ||
                 (dirFd == AT_FDCWD ? getcwd(folder, sizeof folder) != nullptr : PathOfFd(dirFd, folder));
    found =
        found && std::snprintf(whole, sizeof whole, "%s/%s", folder, path) < static_cast<int>(sizeof whole);
    if (found) {
        for (size_t end = std::strlen(whole); end > 1 && whole[end - 1] == '/';)
            whole[--end] = '\0';
        char* const slash = std::strrchr(whole, '/');
        *slash = '\0';
        struct stat status {};
        found = realpath(slash == whole ? "/" : whole, folder) && Status(AT_FDCWD, folder, status) &&
                std::snprintf(place.path, sizeof place.path, "%s/%s", folder, slash + 1) <
                    static_cast<int>(sizeof place.path) &&
                IsInTree(place) && place.relative != kPackageLog;
        place.name = place.path + std::strlen(folder) + 1;
        place.folder = status.st_ino;
    }
    errno = error;
    return found;
}

int Describe(const Call& call, char* text, size_t size) {
    const char* const path = call.place->relative;
    if (call.newPlace)
        return std::snprintf(text, size, "%s(%s -> %s)", call.function, path, call.newPlace->relative);
    if (call.op == Op::Write)
        return std::snprintf(text, size, "%s(%s, %u bytes at %lld)", call.function, path, call.dataSize,
                             static_cast<long long>(call.value));
    return std::snprintf(text, size, "%s(%s)", call.function, path);
}

// The number of the migration that runs, -1 before the first: what the program shows of its progress (progress.h).
int64_t CurrentMigration() {
    constexpr off_t kBegun = 4, kMigration = 24;
    uint32_t begun = 0;
    int64_t migration = -1;
    (void)syscall(SYS_pread64, g_progress, &begun, sizeof begun, kBegun);
    return begun > 0 && syscall(SYS_pread64, g_progress, &migration, sizeof migration, kMigration) ==
                            sizeof migration
               ? migration
               : -1;
}

bool IsInTime() { return g_plan.during < 0 || CurrentMigration() == g_plan.during; }

bool IsOfRule(const Call& call) {
    if (std::strncmp(call.place->relative, g_plan.path, std::strlen(g_plan.path)) != 0)
        return false;
    switch (g_plan.which) {
        case Which::Space:
            return call.needsSpace;
        case Which::Writes:
            return call.op == Op::Write || call.op == Op::Truncate || IsFlush(call.op);
        case Which::Changes:
            return !IsRead(call.op) || (call.op == Op::Open && call.value == 1);
        case Which::Names:
            return IsOnNames(call.op) || call.op == Op::SetOwner;
        case Which::Reads:
            return IsRead(call.op);
        default:
            return false;
    }
}

// A fault that ends has let enough calls fail.
Verdict FailUnlessOver() {
    if (g_plan.times > 0 && g_failed >= g_plan.times)
        return Verdict::Go;
    ++g_failed;
    errno = g_plan.error;
    return Verdict::Fail;
}

[[noreturn]] void Die() {
    for (;;)
        kill(getpid(), SIGKILL);
}

bool SeesReads() {
    return g_plan.isOn && (g_plan.reads || g_plan.which == Which::Changes || g_plan.which == Which::Reads);
}

// Counts the call and says what becomes of it.
Verdict Judge(const Call& call) {
    const bool counts = !IsRead(call.op) || g_plan.reads;
    g_count += counts;
    if (g_plan.mode == Mode::Trace || g_count < g_plan.at)
        return Verdict::Go;
    const bool struck = counts && g_count == g_plan.at;
    if (struck) {
        char text[2 * PATH_MAX + 100];
        Out(text, static_cast<size_t>(Describe(call, text, sizeof text)));
        if (std::strcmp(g_plan.path, "same") == 0)
            std::snprintf(g_plan.path, sizeof g_plan.path, "%s", call.place->relative);
    }
    const bool canBeHalf = call.op == Op::Write && call.dataSize > 1;
    switch (g_plan.mode) {
        case Mode::Kill:
            Die();
        case Mode::Tear:
            if (!canBeHalf)
                Die();
            return Verdict::HalfKill;
        case Mode::Stop:
            if (struck)
                kill(getpid(), SIGSTOP);
            return Verdict::Go;
        case Mode::Fail:
            return struck || (IsOfRule(call) && IsInTime()) ? FailUnlessOver() : Verdict::Go;
        case Mode::Grow:
            if (struck && canBeHalf && call.grows)
                return Verdict::HalfGo;
            return call.needsSpace && call.grows ? FailUnlessOver() : Verdict::Go;
        default:
            return Verdict::Go;
    }
}

// Notes in the trace how a call went that was let through. Keeps errno.
void Record(const Call& call, bool failed) {
    if (g_plan.mode != Mode::Trace || (IsRead(call.op) && !g_plan.reads))
        return;
    const int error = errno;
    char text[2 * PATH_MAX + 100];
    struct stat status {};
    TraceHeader header{call.op,
                       failed,
                       call.inode,
                       call.place->folder,
                       call.newPlace ? call.newPlace->folder : 0,
                       call.value,
                       0,
                       0,
                       0,
                       failed ? 0 : call.dataSize,
                       0};
    const char* const newName = call.newPlace ? call.newPlace->name : "";
    if (!failed && *call.place->path && Status(AT_FDCWD, call.place->path, status))
        header.time = status.st_mtim.tv_sec * kSecond + status.st_mtim.tv_nsec;
    header.nameSize = static_cast<uint32_t>(std::strlen(call.place->name));
    header.newNameSize = static_cast<uint32_t>(std::strlen(newName));
    header.textSize = static_cast<uint32_t>(Describe(call, text, sizeof text));
    Out(&header, sizeof header);
    Out(call.place->name, header.nameSize);
    Out(newName, header.newNameSize);
    Out(call.data, header.dataSize);
    Out(text, header.textSize);
    errno = error;
}

// A call that is no write, on a path, or on a descriptor (path null): go() does it, and returns -1, or a null pointer,
// when it fails.
template <typename Go>
auto On(const char* function, Op op, int fd, const char* path, Go go, int64_t value = 0, int newFd = -1,
        const char* newPath = nullptr) {
    Place place, newPlace;
    struct stat status {};
    if ((IsRead(op) && !SeesReads()) || !(path ? FindPath(fd, path, place) : FindFd(fd, place)) ||
        (newPath && !FindPath(newFd, newPath, newPlace)))
        return go();
    Call call{op, function, &place, Status(AT_FDCWD, place.path, status) ? status.st_ino : 0, value};
    call.newPlace = newPath ? &newPlace : nullptr;
    call.needsSpace = MakesInode(op) || op == Op::Link || (op == Op::Truncate && value > status.st_size);
    if (op == Op::Symlink && value != 0) {
        call.data = reinterpret_cast<const char*>(value);
        call.dataSize = static_cast<uint32_t>(std::strlen(reinterpret_cast<const char*>(value)));
    }
    decltype(go()) failure{};
    if constexpr (!std::is_pointer_v<decltype(go())>)
        failure = -1;
    if (Judge(call) != Verdict::Go)
        return failure;
    const auto result = go();
    if (result != failure && MakesInode(op) && Status(AT_FDCWD, place.path, status, AT_SYMLINK_NOFOLLOW)) {
        call.inode = status.st_ino;
        call.value = status.st_mode;
    }
    Record(call, result == failure);
    return result;
}

// write(size) does the first `size` bytes of the write; offset -1: where the descriptor stands.
template <typename Write>
ssize_t DoWrite(const char* function, int fd, const void* data, size_t size, off_t offset, Write write) {
    Place place;
    struct stat status {};
    if (!FindFd(fd, place) || fstat(fd, &status) != 0)
        return write(size);
    Call call{Op::Write, function, &place, status.st_ino, offset, nullptr, data, static_cast<uint32_t>(size),
              true};
    if (offset < 0)
        call.value = fcntl(fd, F_GETFL) & O_APPEND ? status.st_size : lseek(fd, 0, SEEK_CUR);
    call.grows = call.value + static_cast<off_t>(size) > status.st_size;
    const Verdict verdict = Judge(call);
    if (verdict == Verdict::Fail)
        return -1;
    const ssize_t written = write(verdict == Verdict::Go ? size : size / 2);
    if (verdict == Verdict::HalfKill)
        Die();
    if (written >= 0)
        call.dataSize = static_cast<uint32_t>(written);
    Record(call, written < 0);
    return written;
}

template <typename Go>
int DoOpen(const char* function, int dirFd, const char* path, int flags, Go go) {
    struct stat status {};
    const bool there = g_plan.isOn && Status(dirFd, path, status);
    if ((flags & O_CREAT) && !there)
        return On(function, Op::Create, dirFd, path, go);
    if ((flags & O_TRUNC) && status.st_size > 0)
        return On(function, Op::Truncate, dirFd, path, go);
    return On(function, Op::Open, dirFd, path, go, (flags & O_ACCMODE) != O_RDONLY);
}

// Waits as long as the program's faster clock says; returns the real time.
int64_t Wait(int64_t time) {
    g_waited += time;
    if (g_plan.isOn) {
        Place nowhere;
        *nowhere.path = '\0';
        Record({Op::Wait, "wait", &nowhere, 0, time}, false);
    }
    return time / g_plan.haste;
}

timespec ToTimespec(int64_t time) { return {time / kSecond, time % kSecond}; }

int64_t Owner(uid_t user, gid_t group) {
    return static_cast<int64_t>(static_cast<uint64_t>(user) << 32 | group);
}

// A statement that the running migration may not make. What the program keeps for itself goes on.
int Authorize(void*, int action, const char* table, const char*, const char*, const char*) {
    const bool changes = action == SQLITE_INSERT || action == SQLITE_UPDATE || action == SQLITE_DELETE;
    const bool reads = action == SQLITE_READ && g_plan.which == Which::Sql;
    if ((!changes && !reads) || !IsInTime() || !table)
        return SQLITE_OK;
    if (*g_plan.path && std::strcmp(table, g_plan.path) != 0)
        return SQLITE_OK;
    const bool isOwn = std::strncmp(table, "vgupgrader", 10) == 0 || std::strncmp(table, "sqlite_", 7) == 0;
    return isOwn ? SQLITE_OK : SQLITE_DENY;
}

}  // namespace

extern "C" {

ssize_t write(int fd, const void* data, size_t size) {
    NEXT(write);
    return DoWrite(__func__, fd, data, size, -1, [&](size_t n) { return next(fd, data, n); });
}

ssize_t pwrite64(int fd, const void* data, size_t size, off64_t offset) {
    NEXT(pwrite64);
    return DoWrite(__func__, fd, data, size, offset, [&](size_t n) { return next(fd, data, n, offset); });
}

// The parts one by one.
ssize_t writev(int fd, const iovec* parts, int count) {
    ssize_t all = 0;
    for (int i = 0; i < count; ++i) {
        const ssize_t written = write(fd, parts[i].iov_base, parts[i].iov_len);
        if (written < 0)
            return all > 0 ? all : -1;
        all += written;
        if (static_cast<size_t>(written) < parts[i].iov_len)
            break;
    }
    return all;
}

// A function that is On() what its parameters name.
#define WRAP(result, name, parameters, arguments, op, fd, path, value, ...) \
    result name parameters __VA_ARGS__ {                                    \
        NEXT(name);                                                         \
        return On(                                                          \
            #name, op, fd, path, [&] { return next arguments; }, value);    \
    }

WRAP(int, ftruncate, (int fd, off_t size), (fd, size), Op::Truncate, fd, nullptr, size, noexcept)
int ftruncate64(int fd, off64_t size) noexcept { return ftruncate(fd, size); }
WRAP(int, fsync, (int fd), (fd), Op::Flush, fd, nullptr, 0)
WRAP(int, fdatasync, (int fd), (fd), Op::FlushData, fd, nullptr, 0)
WRAP(int, syncfs, (int fd), (fd), Op::FlushAll, fd, nullptr, 0, noexcept)

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

// The mode is read also where none was given, and is then of no use.
#define OPEN(name, folder, ...)                                                                        \
    int name(__VA_ARGS__ __VA_OPT__(, ) const char* path, int flags, ...) {                             \
        static const auto next = reinterpret_cast<decltype(&openat)>(dlsym(RTLD_NEXT, "openat"));       \
        va_list args;                                                                                   \
        va_start(args, flags);                                                                          \
        const mode_t mode = va_arg(args, mode_t);                                                       \
        va_end(args);                                                                                   \
        return DoOpen("open", folder, path, flags, [&] { return next(folder, path, flags, mode); });    \
    }
OPEN(openat, dirFd, int dirFd)
OPEN(open, AT_FDCWD)
OPEN(open64, AT_FDCWD)

// The forms of a program that is checked by the compiler's library, when the flags are known only when it runs.
int __open_2(const char* path, int flags) { return openat(AT_FDCWD, path, flags); }
int __open64_2(const char* path, int flags) { return openat(AT_FDCWD, path, flags); }
int __openat_2(int dirFd, const char* path, int flags) { return openat(dirFd, path, flags); }

FILE* fopen64(const char* path, const char* mode) {
    NEXT(fopen64);
    const auto go = [&] { return next(path, mode); };
    return *mode == 'r' ? On("open", Op::Open, AT_FDCWD, path, go) : go();
}

WRAP(int, mkdirat, (int dirFd, const char* path, mode_t mode), (dirFd, path, mode), Op::MakeFolder, dirFd,
     path, 0, noexcept)
int mkdir(const char* path, mode_t mode) noexcept { return mkdirat(AT_FDCWD, path, mode); }

WRAP(int, symlinkat, (const char* target, int dirFd, const char* path), (target, dirFd, path), Op::Symlink,
     dirFd, path, reinterpret_cast<int64_t>(target), noexcept)
WRAP(int, linkat, (int oldFd, const char* oldPath, int dirFd, const char* path, int flags),
     (oldFd, oldPath, dirFd, path, flags), Op::Link, dirFd, path, 0, noexcept)

int renameat2(int dirFd, const char* path, int newFd, const char* newPath, unsigned flags) noexcept {
    NEXT(renameat2);
    const auto go = [&] { return next(dirFd, path, newFd, newPath, flags); };
    return On("rename", Op::Rename, dirFd, path, go, 0, newFd, newPath);
}
int renameat(int dirFd, const char* path, int newFd, const char* newPath) noexcept {
    return renameat2(dirFd, path, newFd, newPath, 0);
}
int rename(const char* path, const char* newPath) noexcept {
    return renameat2(AT_FDCWD, path, AT_FDCWD, newPath, 0);
}

WRAP(int, unlinkat, (int dirFd, const char* path, int flags), (dirFd, path, flags),
     flags& AT_REMOVEDIR ? Op::RemoveFolder : Op::Remove, dirFd, path, 0, noexcept)
int unlink(const char* path) noexcept { return unlinkat(AT_FDCWD, path, 0); }
int rmdir(const char* path) noexcept { return unlinkat(AT_FDCWD, path, AT_REMOVEDIR); }
int remove(const char* path) noexcept {
    const int result = unlink(path);
    return result != 0 && errno == EISDIR ? rmdir(path) : result;
}

WRAP(int, fchmod, (int fd, mode_t mode), (fd, mode), Op::SetMode, fd, nullptr, mode, noexcept)
WRAP(int, fchmodat, (int dirFd, const char* path, mode_t mode, int flags), (dirFd, path, mode, flags),
     Op::SetMode, dirFd, path, mode, noexcept)
int chmod(const char* path, mode_t mode) noexcept { return fchmodat(AT_FDCWD, path, mode, 0); }

WRAP(int, fchown, (int fd, uid_t user, gid_t group), (fd, user, group), Op::SetOwner, fd, nullptr,
     Owner(user, group), noexcept)
WRAP(int, fchownat, (int dirFd, const char* path, uid_t user, gid_t group, int flags),
     (dirFd, path, user, group, flags), *path && (flags & AT_SYMLINK_NOFOLLOW) ? Op::Other : Op::SetOwner,
     dirFd, *path ? path : nullptr, Owner(user, group), noexcept)

WRAP(int, futimens, (int fd, const timespec* times), (fd, times), Op::SetTimes, fd, nullptr, 0, noexcept)
WRAP(int, utimensat, (int dirFd, const char* path, const timespec* times, int flags),
     (dirFd, path, times, flags), flags& AT_SYMLINK_NOFOLLOW ? Op::Other : Op::SetTimes, dirFd, path, 0,
     noexcept)

WRAP(ssize_t, read, (int fd, void* data, size_t size), (fd, data, size), Op::Read, fd, nullptr, 0)
WRAP(ssize_t, pread64, (int fd, void* data, size_t size, off64_t offset), (fd, data, size, offset), Op::Read,
     fd, nullptr, 0)
ssize_t pread(int fd, void* data, size_t size, off_t offset) { return pread64(fd, data, size, offset); }
ssize_t __read_chk(int fd, void* data, size_t size, size_t) { return read(fd, data, size); }
ssize_t __pread_chk(int fd, void* data, size_t size, off_t at, size_t) { return pread64(fd, data, size, at); }
ssize_t __pread64_chk(int fd, void* data, size_t size, off_t at, size_t) {
    return pread64(fd, data, size, at);
}

#define LOOK(name, Status) \
    WRAP(int, name, (const char* path, Status* status), (path, status), Op::Look, AT_FDCWD, path, 0, noexcept)
LOOK(stat, struct stat)
LOOK(stat64, struct stat64)
LOOK(lstat, struct stat)
LOOK(lstat64, struct stat64)
WRAP(int, fstatat, (int dirFd, const char* path, struct stat* status, int flags),
     (dirFd, path, status, flags), Op::Look, dirFd, path, 0, noexcept)
WRAP(int, access, (const char* path, int mode), (path, mode), Op::Look, AT_FDCWD, path, 0, noexcept)

int memfd_create(const char* name, unsigned flags) noexcept {
    NEXT(memfd_create);
    return g_progress = next(name, flags);
}

int sqlite3_open_v2(const char* path, sqlite3** db, int flags, const char* vfs) {
    NEXT(sqlite3_open_v2);
    static const auto setAuthorizer =
        reinterpret_cast<decltype(&sqlite3_set_authorizer)>(dlsym(RTLD_NEXT, "sqlite3_set_authorizer"));
    const int code = next(path, db, flags, vfs);
    if (g_plan.isOn && (g_plan.which == Which::Sql || g_plan.which == Which::SqlWrites))
        setAuthorizer(*db, Authorize, nullptr);
    return code;
}

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    NEXT(clock_gettime);
    static int64_t begin = 0;
    const int result = next(clock, time);
    if (clock != CLOCK_MONOTONIC || result != 0 || g_plan.haste == 1)
        return result;
    const int64_t now = time->tv_sec * kSecond + time->tv_nsec;
    begin = begin ? begin : now;
    *time = ToTimespec(begin + (now - begin) * g_plan.haste);
    return 0;
}

int nanosleep(const timespec* wait, timespec* left) {
    NEXT(nanosleep);
    const timespec shorter = ToTimespec(Wait(wait->tv_sec * kSecond + wait->tv_nsec));
    return next(&shorter, left);
}

int usleep(useconds_t wait) {
    const timespec time = ToTimespec(wait * 1000LL);
    return nanosleep(&time, nullptr);
}

unsigned sleep(unsigned seconds) {
    usleep(seconds * 1'000'000);
    return 0;
}

int poll(pollfd* fds, nfds_t count, int milliseconds) {
    NEXT(poll);
    return next(
        fds, count,
        milliseconds > 0 ? static_cast<int>(Wait(milliseconds * 1'000'000LL) / 1'000'000) : milliseconds);
}

}  // extern "C"
