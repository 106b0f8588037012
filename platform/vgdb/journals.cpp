#include "platform/vgdb/journals.h"

#include <sqlite3.h>

namespace {

// SQLite opens a folder to flush it, and goes on where the system does not let it.
int OpenNoFolder(const char* /*path*/, int* fd) {
    *fd = -1;
    return SQLITE_CANTOPEN;
}

// No function: SQLite's own.
void SetOpenFolder(int (*function)(const char*, int*)) {
    sqlite3_vfs* const vfs = sqlite3_vfs_find(nullptr);
    vfs->xSetSystemCall(vfs, "openDirectory", reinterpret_cast<sqlite3_syscall_ptr>(function));
}

}  // namespace

JournalsAreOnDisk::JournalsAreOnDisk() { SetOpenFolder(OpenNoFolder); }
JournalsAreOnDisk::~JournalsAreOnDisk() { SetOpenFolder(nullptr); }
