#include "platform/files/change_owner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <vector>

#include "platform/base/package_log.h"
#include "platform/base/watch.h"
#include "platform/files/file_io.h"
#include "platform/files/flush_later.h"
#include "platform/files/place.h"

namespace {

int LogNotChanged(const std::string& path) { return LogErrno("change the owner of", path); }

class OwnerChange {
public:
    explicit OwnerChange(const Owner& owner) : m_owner(owner) {}

    int Change(const Folder& folder, const std::string& name, const struct stat& status, bool wholeTree) {
        if (S_ISDIR(status.st_mode))
            return ChangeFolder(folder, name, wholeTree);
        if (!S_ISREG(status.st_mode) || !IsToChange(status))
            return 0;
        // Not opened for reading: closing any such descriptor of a database would drop the locks that SQLite
        // holds on it in this process.
        const UniqueFd file(openat(folder.Fd(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        return file && ChangeOpen(file.Get()) ? 0 : LogNotChanged(folder.PathOf(name));
    }

    // All owners that change are brought to the disk at one go.
    int FlushAllLater(const Place& place) const {
        return !m_changed || FlushFileSystemLater(place.folder) ? 0 : LogNotChanged(place.Path());
    }

private:
    static bool IsToChange(const struct stat& status) {
        return status.st_uid == 0 &&
               (S_ISDIR(status.st_mode) || (S_ISREG(status.st_mode) && status.st_nlink == 1));
    }

    // The folder itself last: until then its new owner can put nothing in the way.
    int ChangeFolder(const Folder& folder, const std::string& name, bool wholeTree) {
        const Folder inner = folder.OpenFolder(name);
        std::vector<std::string> children;
        if (!inner || (wholeTree && !inner.List(children)))
            return LogNotChanged(folder.PathOf(name));
        int result = 0;
        for (const std::string& child : children) {
            struct stat status {};
            if (!inner.Stat(child, status))
                result = LogNotChanged(inner.PathOf(child));
            else if (!inner.IsMountPoint(child, status) && Change(inner, child, status, wholeTree))
                result = -1;
        }
        return ChangeOpen(inner.Fd()) ? result : LogNotChanged(folder.PathOf(name));
    }

    bool ChangeOpen(int fd) {
        struct stat status {};
        if (fstat(fd, &status) != 0)
            return false;
        if (!IsToChange(status) || (m_owner.user == 0 && m_owner.group == status.st_gid))
            return true;
        m_changed = true;
        if (fchownat(fd, "", m_owner.user, m_owner.group, AT_EMPTY_PATH) != 0)
            return false;
        // A change of owner clears these bits. fchmod takes no descriptor of this kind.
        const std::string path = "/proc/self/fd/" + std::to_string(fd);
        const bool done =
            (status.st_mode & (S_ISUID | S_ISGID)) == 0 || chmod(path.c_str(), status.st_mode & 07777) == 0;
        struct stat now {};
        if (Watch* const watch = Watch::Current(); watch && fstat(fd, &now) == 0)
            watch->Owner(std::filesystem::read_symlink(path), status, now);
        return done;
    }

    const Owner& m_owner;
    bool m_changed = false;
};

int ChangeOwner(const std::string& path, const Owner& owner, bool wholeTree) {
    Place place;
    struct stat status {};
    if (const int found = FindPlace(path, place, status); found <= 0)
        return found;
    OwnerChange change(owner);
    const int result = change.Change(place.folder, place.name, status, wholeTree);
    return change.FlushAllLater(place) ? -1 : result;
}

}  // namespace

int VGFileChown(const std::string& path, const Owner& owner) { return ChangeOwner(path, owner, false); }

int VGTreeChown(const std::string& path, const Owner& owner) { return ChangeOwner(path, owner, true); }
