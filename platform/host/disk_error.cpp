#include "platform/host/disk_error.h"

#include <cerrno>

namespace {

bool g_diskError = false;

}  // namespace

void NoteDiskError() { g_diskError = true; }

void NoteErrno(int error) {
    if (error == EIO)
        NoteDiskError();
}

bool HadDiskError() { return g_diskError; }

void ForgetDiskErrors() { g_diskError = false; }
