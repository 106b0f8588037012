#include "tools/faults/fault_plan.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

// The library's own files are written by syscall(), which is not among the calls it replaces.
namespace fault {
namespace {

constexpr std::string_view kPackageLog = "/var/log/vigilo/vgupgrader.log";

struct Plan {
    Mode mode = Mode::Off;
    char root[PATH_MAX] = "";
    size_t rootLength = 0;
    long at = 0;
    bool reads = false;
    int error = EIO;
    Which which = Which::None;
    char path[PATH_MAX] = "";
    bool samePath = false;
    long times = 0;
    long haste = 1;
    int out = -1;
};

Plan g_plan;
long g_count = 0;   // calls so far
long g_failed = 0;  // calls that were let fail

template <typename Value>
struct Named {
    std::string_view name;
    Value value;
};

constexpr Named<Mode> kModes[] = {{"trace", Mode::Trace}, {"kill", Mode::Kill}, {"tear", Mode::Tear},
                                  {"stop", Mode::Stop},   {"fail", Mode::Fail}, {"grow", Mode::Grow}};
constexpr Named<Which> kWhich[] = {{"space", Which::Space},
                                   {"writes", Which::Writes},
                                   {"changes", Which::Changes},
                                   {"renames", Which::Renames},
                                   {"reads", Which::Reads}};

template <typename Value, size_t size>
Value Find(const Named<Value> (&all)[size], std::string_view name, Value otherwise) {
    for (const Named<Value>& one : all) {
        if (one.name == name)
            return one.value;
    }
    return otherwise;
}

const char* Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

long Number(const char* name) { return std::strtol(Variable(name), nullptr, 10); }

__attribute__((constructor)) void ReadPlan() {
    const char* const root = std::getenv("VG_SYSROOT");
    const char* const out = std::getenv("VGFAULT_OUT");
    if (!root || !out || !realpath(root, g_plan.root))
        return;
    g_plan.rootLength = std::strlen(g_plan.root);
    g_plan.at = Number("VGFAULT_AT");
    g_plan.reads = Number("VGFAULT_READS") > 0;
    g_plan.error = static_cast<int>(Number("VGFAULT_ERROR"));
    g_plan.which = Find(kWhich, Variable("VGFAULT_WHICH"), Which::None);
    std::snprintf(g_plan.path, sizeof g_plan.path, "%s", Variable("VGFAULT_PATH"));
    g_plan.samePath = std::string_view(g_plan.path) == "same";
    g_plan.times = Number("VGFAULT_TIMES");
    g_plan.haste = Number("VGFAULT_HASTE") > 1 ? Number("VGFAULT_HASTE") : 1;
    g_plan.out = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, out, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600));
    g_plan.mode = Find(kModes, Variable("VGFAULT_MODE"), Mode::Off);
}

void Out(const void* data, size_t size) {
    while (size > 0) {
        const long count = syscall(SYS_write, g_plan.out, data, size);
        if (count <= 0)
            _exit(99);  // a trace with a hole would mislead
        data = static_cast<const char*>(data) + count;
        size -= static_cast<size_t>(count);
    }
}

// Below the tree and not the package log.
bool Counts(Place& place) {
    if (std::strncmp(place.path, g_plan.root, g_plan.rootLength) != 0)
        return false;
    place.relative = place.path + g_plan.rootLength;
    return (*place.relative == '/' || *place.relative == '\0') && place.relative != kPackageLog;
}

bool PathOfFd(int fd, char (&path)[PATH_MAX]) {
    char link[40];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length <= 0)
        return false;
    path[length] = '\0';
    return true;
}

int Describe(const Call& call, char* text, size_t size) {
    const char* const path = call.place ? call.place->relative : "";
    if (call.newPlace)
        return std::snprintf(text, size, "%s(%s -> %s)", call.function, path, call.newPlace->relative);
    if (call.op == Op::Write)
        return std::snprintf(text, size, "%s(%s, %u bytes at %lld)", call.function, path, call.dataSize,
                             static_cast<long long>(call.value));
    return std::snprintf(text, size, "%s(%s)", call.function, path);
}

bool IsRead(Op op) { return op == Op::Open || op == Op::Read || op == Op::Look; }

bool IsWriteOrFlush(Op op) {
    return op == Op::Write || op == Op::Truncate || op == Op::Flush || op == Op::FlushData ||
           op == Op::FlushAll;
}

bool IsOfRule(const Call& call) {
    if (call.place && std::strncmp(call.place->relative, g_plan.path, std::strlen(g_plan.path)) != 0)
        return false;
    switch (g_plan.which) {
        case Which::Space:
            return call.needsSpace;
        case Which::Writes:
            return IsWriteOrFlush(call.op);
        case Which::Changes:
            return !IsRead(call.op) || (call.op == Op::Open && call.value == 1);
        case Which::Renames:
            return call.op == Op::Rename || call.op == Op::Link;
        case Which::Reads:
            return IsRead(call.op);
        case Which::None:
            break;
    }
    return false;
}

// A fault that ends has let enough calls fail.
Verdict FailUnlessOver() {
    if (g_plan.times > 0 && g_failed >= g_plan.times)
        return Verdict::Go;
    ++g_failed;
    errno = g_plan.error;
    return Verdict::Fail;
}

void TellStruck(const Call& call) {
    char text[2 * PATH_MAX + 100];
    const int size = Describe(call, text, sizeof text);
    Out(text, static_cast<size_t>(size));
}

}  // namespace

bool FindFd(int fd, Place& place) {
    if (g_plan.mode == Mode::Off)
        return false;
    const int error = errno;
    const bool found = PathOfFd(fd, place.path) && Counts(place);
    place.name = "";
    place.folder = 0;
    errno = error;
    return found;
}

bool IsPackageLog(int fd) {
    if (g_plan.mode != Mode::Trace)
        return false;
    char path[PATH_MAX];
    const int error = errno;
    const bool is = PathOfFd(fd, path) && std::strncmp(path, g_plan.root, g_plan.rootLength) == 0 &&
                    path + g_plan.rootLength == kPackageLog;
    errno = error;
    return is;
}

bool FindPath(int dirFd, const char* path, Place& place) {
    if (g_plan.mode == Mode::Off || !path || !*path)
        return false;
    const int error = errno;
    // The folder by its real path, and the name in it as it stands: what is created or removed is the name.
    char folder[PATH_MAX] = "";
    char whole[PATH_MAX];
    bool known = true;
    if (*path != '/')
        known = dirFd == AT_FDCWD ? getcwd(folder, sizeof folder) != nullptr : PathOfFd(dirFd, folder);
    known =
        known && std::snprintf(whole, sizeof whole, "%s/%s", folder, path) < static_cast<int>(sizeof whole);
    size_t length = known ? std::strlen(whole) : 0;
    while (length > 1 && whole[length - 1] == '/')
        whole[--length] = '\0';
    char* const slash = known ? std::strrchr(whole, '/') : nullptr;
    struct stat status {};
    bool found = false;
    if (slash) {
        *slash = '\0';
        if (realpath(slash == whole ? "/" : whole, folder) && Status(AT_FDCWD, folder, &status) == 0) {
            const int size = std::snprintf(place.path, sizeof place.path, "%s/%s", folder, slash + 1);
            found = size < static_cast<int>(sizeof place.path) && Counts(place);
            place.name = place.path + std::strlen(folder) + 1;
            place.folder = status.st_ino;
        }
    }
    errno = error;
    return found;
}

int Status(int dirFd, const char* path, struct stat* status, int flags) {
    static const auto next = reinterpret_cast<decltype(&fstatat)>(dlsym(RTLD_NEXT, "fstatat"));
    return next(dirFd, path, status, flags);
}

bool SeesReads() {
    return g_plan.mode != Mode::Off &&
           (g_plan.reads || g_plan.which == Which::Changes || g_plan.which == Which::Reads);
}

int64_t Hastened(int64_t elapsed) { return elapsed * g_plan.haste; }
int64_t Shortened(int64_t wait) { return wait / g_plan.haste; }

Verdict Judge(const Call& call) {
    const bool counts = !IsRead(call.op) || g_plan.reads;
    g_count += counts;
    if (g_plan.mode == Mode::Trace || g_count < g_plan.at)
        return Verdict::Go;
    const bool struck = counts && g_count == g_plan.at;
    if (struck) {
        TellStruck(call);
        if (g_plan.samePath && call.place)
            std::snprintf(g_plan.path, sizeof g_plan.path, "%s", call.place->relative);
    }
    switch (g_plan.mode) {
        case Mode::Kill:
            Die();
        case Mode::Tear:
            if (call.op != Op::Write || call.dataSize < 2)
                Die();
            return Verdict::HalfKill;
        case Mode::Stop:
            if (struck)
                kill(getpid(), SIGSTOP);
            return Verdict::Go;
        case Mode::Fail:
            return struck || IsOfRule(call) ? FailUnlessOver() : Verdict::Go;
        case Mode::Grow:
            if (struck && call.op == Op::Write && call.grows && call.dataSize > 1)
                return Verdict::HalfGo;
            return call.needsSpace && call.grows ? FailUnlessOver() : Verdict::Go;
        case Mode::Off:
        case Mode::Trace:
            break;
    }
    return Verdict::Go;
}

void Die() {
    kill(getpid(), SIGKILL);
    for (;;)
        pause();
}

void Record(const Call& call, bool failed) {
    if (g_plan.mode != Mode::Trace || (IsRead(call.op) && !g_plan.reads))
        return;
    const int error = errno;
    char text[2 * PATH_MAX + 100];
    const char* const name = call.place ? call.place->name : "";
    const char* const newName = call.newPlace ? call.newPlace->name : "";
    TraceHeader header{};
    header.op = call.op;
    header.failed = failed;
    header.inode = call.inode;
    header.folder = call.place ? call.place->folder : 0;
    header.newFolder = call.newPlace ? call.newPlace->folder : 0;
    header.value = call.value;
    if (struct stat status{}; !failed && call.place && Status(AT_FDCWD, call.place->path, &status) == 0)
        header.time = status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec;
    header.nameSize = static_cast<uint32_t>(std::strlen(name));
    header.newNameSize = static_cast<uint32_t>(std::strlen(newName));
    header.dataSize = failed ? 0 : call.dataSize;
    header.textSize = static_cast<uint32_t>(Describe(call, text, sizeof text));
    Out(&header, sizeof header);
    Out(name, header.nameSize);
    Out(newName, header.newNameSize);
    Out(call.data, header.dataSize);
    Out(text, header.textSize);
    errno = error;
}

}  // namespace fault
