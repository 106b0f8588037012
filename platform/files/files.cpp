#include "platform/files/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "platform/base/disk_error.h"
#include "platform/base/package_log.h"
#include "platform/base/umask_scope.h"
#include "platform/base/watch.h"
#include "platform/files/copy.h"
#include "platform/files/flush_later.h"
#include "platform/files/place.h"
#include "platform/files/rename_entry.h"

namespace {

// A copy under way, in the destination's folder. The next move into that folder removes one that was left.
constexpr const char* kTemporaryName = ".vgupgrader.moving";

int LogStays(const std::string& path, const std::string& newPath, const char* reason) {
    NoteErrno(errno);
    VG_LIB_LOG("Failed to move %s to %s. [%s]\n", path.c_str(), newPath.c_str(), reason);
    return -1;
}

int LogStays(const Folder& from, const std::string& name, const Folder& to, const char* reason) {
    return LogStays(from.PathOf(name), to.PathOf(name), reason);
}

int RemoveEntry(const Folder& folder, const std::string& name);

int RemoveFolderEntry(const Folder& folder, const std::string& name) {
    std::vector<std::string> names;
    const Folder inner = folder.OpenFolder(name);
    if (!inner || !inner.List(names))
        return LogErrno("remove", folder.PathOf(name));
    int result = 0;
    for (const std::string& child : names) {
        if (RemoveEntry(inner, child))
            result = -1;
    }
    if (result == 0 && unlinkat(folder.Fd(), name.c_str(), AT_REMOVEDIR) != 0)
        return LogErrno("remove", folder.PathOf(name));
    return result;
}

int RemoveEntry(const Folder& folder, const std::string& name) {
    struct stat status {};
    if (!folder.Stat(name, status))
        return errno == ENOENT ? 0 : LogErrno("remove", folder.PathOf(name));
    if (folder.IsMountPoint(name, status)) {
        errno = EBUSY;
        return LogErrno("remove", folder.PathOf(name));
    }
    if (S_ISDIR(status.st_mode))
        return RemoveFolderEntry(folder, name);
    return unlinkat(folder.Fd(), name.c_str(), 0) == 0 ? 0 : LogErrno("remove", folder.PathOf(name));
}

// Removes an entry of one of the types; anything else of that name is left alone.
int RemoveOfType(const std::string& path, std::initializer_list<mode_t> types) {
    Place place;
    struct stat status {};
    const int found = FindPlace(path, place, status);
    if (found <= 0 || std::find(types.begin(), types.end(), status.st_mode & S_IFMT) == types.end())
        return found < 0 ? -1 : 0;
    Watch::File(path);
    const int result = RemoveEntry(place.folder, place.name);
    return FlushLater(place.folder) ? result : LogErrno("flush", place.Path());
}

int MoveEntry(const Folder& from, const std::string& name, const Folder& to);

int MergeFolder(const Folder& from, const std::string& name, const Folder& to, const std::string& newName) {
    std::vector<std::string> names;
    const Folder source = from.OpenFolder(name);
    const Folder destination = to.OpenFolder(newName);
    if (!source || !destination || !source.List(names))
        return LogStays(from.PathOf(name), to.PathOf(newName), std::strerror(errno));
    if (source.IsSameAs(destination))
        return 0;
    int result = 0;
    for (const std::string& child : names) {
        if (MoveEntry(source, child, destination))
            result = -1;
    }
    if (!destination.Sync())
        return LogErrno("flush", to.PathOf(newName));
    if (result == 0 && unlinkat(from.Fd(), name.c_str(), AT_REMOVEDIR) != 0)
        return LogErrno("remove", from.PathOf(name));
    return result;
}

// What becomes of a source whose name stands at the destination: by an earlier run, or by somebody else.
int MergeEntry(const Folder& from, const std::string& name, const Folder& to) {
    struct stat source {};
    struct stat existing {};
    if (!from.Stat(name, source) || !to.Stat(name, existing))
        return LogStays(from, name, to, std::strerror(errno));
    if (S_ISDIR(source.st_mode) && S_ISDIR(existing.st_mode))
        return MergeFolder(from, name, to, name);
    if (!HaveSameContent(from, to, name))
        return LogStays(from, name, to, std::strerror(EEXIST));
    if (!to.Sync())
        return LogErrno("flush", to.PathOf(name));
    return unlinkat(from.Fd(), name.c_str(), 0) == 0 ? 0 : LogErrno("remove", from.PathOf(name));
}

int CopyIntoPlace(const Folder& from, const std::string& name, const Folder& to) {
    if (RemoveEntry(to, kTemporaryName))
        return -1;
    if (CopyEntry(from, name, to, kTemporaryName) == 0) {
        if (RenameEntry(to, kTemporaryName, to, name))
            return to.Sync() ? 0 : LogErrno("flush", to.PathOf(name));
        LogStays(from, name, to, std::strerror(errno));
    }
    (void)RemoveEntry(to, kTemporaryName);  // gives its space back; logged there
    return -1;
}

int RenameFolder(const Place& place, const struct stat& status, const std::string& newName) {
    const Folder& folder = place.folder;
    const auto stays = [&](int error) {
        return LogStays(place.Path(), folder.PathOf(newName), std::strerror(error));
    };
    if (folder.IsMountPoint(place.name, status))
        return stays(EBUSY);
    struct stat existing {};
    if (folder.Stat(newName, existing))
        return S_ISDIR(existing.st_mode) ? MergeFolder(folder, place.name, folder, newName) : stays(EEXIST);
    return errno == ENOENT && RenameEntry(folder, place.name, folder, newName) ? 0 : stays(errno);
}

bool CanBeCopied(const struct stat& status) {
    return S_ISREG(status.st_mode) || S_ISDIR(status.st_mode) || S_ISLNK(status.st_mode);
}

int MoveEntry(const Folder& from, const std::string& name, const Folder& to) {
    struct stat source {};
    if (!from.Stat(name, source))
        return errno == ENOENT ? 0 : LogStays(from, name, to, std::strerror(errno));
    if (from.IsMountPoint(name, source))
        return LogStays(from, name, to, std::strerror(EBUSY));

    struct stat existing {};
    if (to.Stat(name, existing))
        return MergeEntry(from, name, to);
    if (errno != ENOENT)
        return LogStays(from, name, to, std::strerror(errno));

    if (RenameEntry(from, name, to, name))
        return 0;
    if (errno != EXDEV)
        return LogStays(from, name, to, std::strerror(errno));
    if (!CanBeCopied(source))
        return LogStays(from, name, to, "Neither a file, a folder nor a link");
    if (CopyIntoPlace(from, name, to))
        return -1;
    return MergeEntry(from, name, to);  // removes what the copy holds
}

}  // namespace

int VGFileMove(const std::string& path, const std::string& toFolder) {
    Place source;
    struct stat status {};
    if (const int found = FindPlace(path, source, status); found <= 0)
        return found;
    const Folder destination = Folder::Open(toFolder);
    if (!destination)
        return LogErrno("move", path + " to " + toFolder);
    if (source.folder.IsSameAs(destination))
        return 0;
    Watch::File(path);
    Watch::File(destination.PathOf(source.name));
    const int result = MoveEntry(source.folder, source.name, destination);
    if (!FlushLater(destination) || !FlushLater(source.folder))
        return LogErrno("flush", path);
    return result;
}

int VGFolderRename(const std::string& path, const std::string& newName) {
    Place place;
    struct stat status {};
    if (const int found = FindPlace(path, place, status); found <= 0 || !S_ISDIR(status.st_mode))
        return found < 0 ? -1 : 0;
    Watch::File(path);
    Watch::File(place.folder.PathOf(newName));
    const int result = RenameFolder(place, status, newName);
    return FlushLater(place.folder) ? result : LogErrno("flush", place.Path());
}

int VGFileRemove(const std::string& path) { return RemoveOfType(path, {S_IFREG, S_IFLNK}); }

int VGFolderRemove(const std::string& path) { return RemoveOfType(path, {S_IFDIR}); }

int VGFolderRemoveFiles(const std::string& folder, std::string_view suffix) {
    std::vector<std::string> names;
    const Folder files = Folder::Open(folder);
    if (!files && (errno == ENOENT || errno == ENOTDIR))
        return 0;
    if (!files || !files.List(names))
        return LogErrno("read", folder);
    int result = 0;
    for (const std::string& name : names)
        if (name.ends_with(suffix) && RemoveOfType(files.PathOf(name), {S_IFREG}))
            result = -1;
    return result;
}

int VGFileCreate(const std::string& path, mode_t mode) {
    Place place;
    struct stat status {};
    if (const int found = FindPlace(path, place, status); found != 0)
        return found < 0 ? -1 : 0;
    Watch::File(path);
    const UmaskScope mask(0);
    const UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
    return file && Flush(file.Get()) && FlushLater(place.folder) ? 0 : LogErrno("create", path);
}
