#include "tools/faults/fault_plan.h"

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
    int out = -1;
};

Plan g_plan;
long g_count = 0;

Mode ModeOf(std::string_view name) {
    if (name == "trace")
        return Mode::Trace;
    if (name == "kill")
        return Mode::Kill;
    if (name == "tear")
        return Mode::Tear;
    if (name == "full")
        return Mode::Full;
    if (name == "grow")
        return Mode::Grow;
    if (name == "error")
        return Mode::Error;
    return name == "errors" ? Mode::Errors : Mode::Off;
}

__attribute__((constructor)) void ReadPlan() {
    const char* const mode = std::getenv("VGFAULT_MODE");
    const char* const root = std::getenv("VG_SYSROOT");
    const char* const at = std::getenv("VGFAULT_AT");
    const char* const out = std::getenv("VGFAULT_OUT");
    if (!mode || !root || !out || !realpath(root, g_plan.root))
        return;
    g_plan.rootLength = std::strlen(g_plan.root);
    g_plan.at = at ? std::strtol(at, nullptr, 10) : 0;
    g_plan.out = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, out, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600));
    g_plan.mode = ModeOf(mode);
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

bool IsWriteOrFlush(Op op) {
    return op == Op::Write || op == Op::Truncate || op == Op::Flush || op == Op::FlushData ||
           op == Op::FlushAll;
}

Verdict FailWith(int error) {
    errno = error;
    return Verdict::Fail;
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
        if (realpath(slash == whole ? "/" : whole, folder) && stat(folder, &status) == 0) {
            const int size = std::snprintf(place.path, sizeof place.path, "%s/%s", folder, slash + 1);
            found = size < static_cast<int>(sizeof place.path) && Counts(place);
            place.name = place.path + std::strlen(folder) + 1;
            place.folder = status.st_ino;
        }
    }
    errno = error;
    return found;
}

Verdict Judge(const Call& call) {
    ++g_count;
    if (g_plan.mode == Mode::Trace || g_count < g_plan.at)
        return Verdict::Go;
    const bool first = g_count == g_plan.at;
    if (first) {
        char text[2 * PATH_MAX + 100];
        const int size = Describe(call, text, sizeof text);
        Out(text, static_cast<size_t>(size));
    }
    switch (g_plan.mode) {
        case Mode::Kill:
            Die();
        case Mode::Tear:
            if (call.op != Op::Write || call.dataSize < 2)
                Die();
            return Verdict::HalfKill;
        case Mode::Full:
            return call.needsSpace ? FailWith(ENOSPC) : Verdict::Go;
        case Mode::Grow:
            if (first && call.op == Op::Write && call.grows && call.dataSize > 1)
                return Verdict::HalfGo;
            return call.needsSpace && call.grows ? FailWith(ENOSPC) : Verdict::Go;
        case Mode::Error:
            return first ? FailWith(EIO) : Verdict::Go;
        case Mode::Errors:
            return first || IsWriteOrFlush(call.op) ? FailWith(EIO) : Verdict::Go;
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
    if (g_plan.mode != Mode::Trace)
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
