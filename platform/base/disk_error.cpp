#include "platform/base/disk_error.h"

#include <cerrno>

namespace {

unsigned g_diskErrors = 0;

}  // namespace

void NoteDiskError() { ++g_diskErrors; }

void NoteErrno(int error) {
    if (error == EIO || error == ENFILE || error == EMFILE || error == ENOMEM)
        NoteDiskError();
}

unsigned DiskErrors() { return g_diskErrors; }
