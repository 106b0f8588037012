#include "platform/files/place.h"

#include <cerrno>
#include <filesystem>

#include "platform/base/disk_error.h"
#include "platform/base/once_more.h"
#include "platform/base/package_log.h"

int FindPlace(const std::string& path, Place& place, struct stat& status) {
    const std::filesystem::path entry = path;
    place.name = entry.filename();
    bool isThere = false;
    const int failed = OnceMore([&] {
        place.folder = Folder::Open(entry.parent_path());
        isThere = place.folder && place.folder.Stat(place.name, status);
        if (isThere || errno == ENOENT || errno == ENOTDIR)
            return 0;
        NoteErrno(errno);
        return -1;
    });
    return failed ? LogErrno("look up", path) : isThere;
}
