// Which calls of the program are counted, and what becomes of the n-th.
//
// The environment says it:
//     VG_SYSROOT     the package tree; calls on files below it count, but for the package log
//     VGFAULT_MODE   trace, or a fault (see Mode)
//     VGFAULT_AT     the number of the call that is struck, from 1; 0: none, the rule for later calls holds at once
//     VGFAULT_READS  1: calls that read, open and look at files count, too
//     VGFAULT_ERROR  fail, grow: the error's number
//     VGFAULT_WHICH  fail: the later calls that fail, too (see Which)
//     VGFAULT_PATH   fail: they do so below this path of the tree only; "same": that of the call that was struck
//     VGFAULT_TIMES  fail, grow: calls that fail in all, then all is well again; 0: no end
//     VGFAULT_HASTE  the program's waiting goes so many times faster
//     VGFAULT_OUT    trace: gets the trace (trace.h); a fault: gets the text of the call that it struck
//
// Without VGFAULT_MODE every call goes through untouched.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <climits>
#include <cstdint>

#include "tools/faults/trace.h"

namespace fault {

enum class Mode {
    Off,
    Trace,
    Kill,  // the process dies before the call
    Tear,  // the process dies when half of the write is done
    Stop,  // the process stops before the call, and goes on when it gets SIGCONT
    Fail,  // the call fails, and later ones by the rule
    Grow,  // calls that make files larger fail from this one on, the first when half of the write is done
};

enum class Which {
    None,
    Space,    // what needs space
    Writes,   // writes and flushes
    Changes,  // what changes files, and opening for it
    Renames,
    Reads,
};

// A file or folder below the tree, by its path, or by its name in a folder.
struct Place {
    char path[PATH_MAX];
    const char* relative;  // the path below the tree
    const char* name;      // its last part
    uint64_t folder;       // inode of the folder that holds the name
};

// Both are false for what does not count. The package log counts for no fault, but is traced.
bool FindPath(int dirFd, const char* path, Place& place);
bool FindFd(int fd, Place& place);

// A counted call. The texts need not outlive it.
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

// Whether calls that leave files alone are of interest.
bool SeesReads();

// The program's time: `elapsed` nanoseconds of the clock are more for it, a wait is shorter.
int64_t Hastened(int64_t elapsed);
int64_t Shortened(int64_t wait);

enum class Verdict {
    Go,
    Fail,      // errno is set
    HalfKill,  // of a write: do half, then Die()
    HalfGo,    // of a write: do half
};

// Counts the call and says what becomes of it; does not return when the process is to die here.
Verdict Judge(const Call& call);
[[noreturn]] void Die();

bool IsPackageLog(int fd);

// As fstatat, which this library replaces.
int Status(int dirFd, const char* path, struct stat* status, int flags = 0);

// Notes in the trace how a call went that was let through. Keeps errno.
void Record(const Call& call, bool failed);

}  // namespace fault
