#include "upgrader/restore_mark.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/files/file_io.h"
#include "platform/files/folder.h"

int FindUnfinishedRestore(std::string& name) {
    const std::filesystem::path mark = ResolveEntry(kRestoreMark);
    const Folder folder = Folder::Open(mark.parent_path());
    struct stat status {};
    if (!folder || !folder.Stat(mark.filename(), status)) {
        if (errno == ENOENT || errno == ENOTDIR)
            return 0;
        return LogErrno("look up", mark);
    }
    if (!folder.IsOurs() || !S_ISREG(status.st_mode)) {
        VG_LIB_LOG("%s does not count: somebody else can have laid it there.\n", mark.c_str());
        return 0;
    }
    const int found = ReadWholeFile(mark, name);
    while (!name.empty() && name.back() == '\n')
        name.pop_back();
    return found;
}
