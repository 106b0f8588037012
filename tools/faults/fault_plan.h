// Which calls of the program are counted, and what becomes of the n-th.
//
// The environment says it:
//     VG_SYSROOT     the package tree; calls that change files below it count, those of the package log do
//     not VGFAULT_MODE   trace, or a fault (see Mode) VGFAULT_AT     the number of the call, from 1
//     VGFAULT_OUT    trace: gets the trace (trace.h); a fault: gets the text of the call that it hit
//
// Without VGFAULT_MODE every call goes through untouched.
#pragma once

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
    Full,  // no space from this call on: what needs any fails with ENOSPC
    Grow,  // no space from this call on: writes inside a file's size go on; the first to fail is done by half
    Error,   // this call alone fails with EIO
    Errors,  // this call, and all later writes and flushes, fail with EIO
};

// A file or folder below the tree, by its path, or by its name in a folder.
struct Place {
    char path[PATH_MAX];
    const char* relative;  // the path below the tree
    const char* name;      // its last part
    uint64_t folder;       // inode of the folder that holds the name
};

// Both are false for what does not count.
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

enum class Verdict {
    Go,
    Fail,      // errno is set
    HalfKill,  // of a write: do half, then Die()
    HalfGo,    // of a write: do half
};

// Counts the call and says what becomes of it; does not return when the process is to die here.
Verdict Judge(const Call& call);
[[noreturn]] void Die();

// Notes in the trace how a call went that was let through. Keeps errno.
void Record(const Call& call, bool failed);

}  // namespace fault
