#include "platform/files/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string_view>

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// The number of the mount that the entry, or with an empty name the open folder, lies on. False where the
// kernel does not tell.
bool FindMount(int folder, const char* name, int& mount) {
    struct file_handle handle {};  // without room: only the mount is asked for
    return name_to_handle_at(folder, name, &handle, &mount, *name ? 0 : AT_EMPTY_PATH) == 0 ||
           errno == EOVERFLOW;
}

struct CloseStream {
    void operator()(DIR* stream) const { closedir(stream); }
};

}  // namespace

Folder::Folder(int fd, std::string path) : m_fd(fd), m_path(std::move(path)) {
    if (fd >= 0 && fstat(fd, &m_status) != 0)
        m_fd = UniqueFd();
}

Folder Folder::Open(const std::string& path) {
    return Folder(open(path.c_str(), kFolderFlags), path.substr(0, path.find_last_not_of('/') + 1));
}

Folder Folder::OpenFolder(const std::string& name) const {
    return Folder(openat(Fd(), name.c_str(), kFolderFlags | O_NOFOLLOW), PathOf(name));
}

UniqueFd Folder::OpenFile(const std::string& name) const {
    UniqueFd file(openat(Fd(), name.c_str(), kReadFlags | O_NOFOLLOW));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0)
        return UniqueFd();
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return UniqueFd();
    }
    return file;
}

bool Folder::Stat(const std::string& name, struct stat& status) const {
    return fstatat(Fd(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool Folder::ReadLink(const std::string& name, std::string& target) const {
    target.resize(256);
    for (;;) {
        const ssize_t length = readlinkat(Fd(), name.c_str(), target.data(), target.size());
        if (length < 0)
            return false;
        if (static_cast<size_t>(length) < target.size()) {
            target.resize(static_cast<size_t>(length));
            return true;
        }
        target.resize(target.size() * 2);
    }
}

bool Folder::List(std::vector<std::string>& names) const {
    // A stream of its own, since reading moves the descriptor's position.
    const int fd = openat(Fd(), ".", kFolderFlags);
    if (fd < 0)
        return false;
    const std::unique_ptr<DIR, CloseStream> stream(fdopendir(fd));
    if (!stream) {
        close(fd);
        return false;
    }
    names.clear();
    for (;;) {
        errno = 0;
        const dirent* entry = readdir(stream.get());
        if (!entry)
            break;
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..")
            names.emplace_back(name);
    }
    if (errno != 0)
        return false;
    std::sort(names.begin(), names.end());
    return true;
}

bool Folder::IsOurs() const {
    return (m_status.st_uid == 0 || m_status.st_uid == geteuid()) && (m_status.st_mode & 022) == 0;
}

bool Folder::Sync() const { return Flush(Fd()); }

bool Folder::IsMountPoint(const std::string& name, const struct stat& status) const {
    if (!S_ISDIR(status.st_mode))
        return false;
    if (status.st_dev != m_status.st_dev)
        return true;
    struct statx entry {};
    if (statx(Fd(), name.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE, &entry) == 0 &&
        (entry.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0)
        return (entry.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    // Kernels before 5.8.
    int own = 0;
    int inner = 0;
    return FindMount(Fd(), "", own) && FindMount(Fd(), name.c_str(), inner) && own != inner;
}
