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

struct CloseStream {
    void operator()(DIR* stream) const { closedir(stream); }
};

}  // namespace

UniqueFd::~UniqueFd() {
    if (m_fd >= 0)
        close(m_fd);
}

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
    // A fifo that took the file's place would block the open.
    UniqueFd file(openat(Fd(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
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

bool Folder::Sync() const {
    return fsync(Fd()) == 0 || errno == EINVAL;  // EINVAL: a file system that flushes folders by itself
}

bool Folder::IsSameAs(const Folder& other) const {
    return m_status.st_dev == other.m_status.st_dev && m_status.st_ino == other.m_status.st_ino;
}

bool Folder::IsMountPoint(const struct stat& status) const {
    return S_ISDIR(status.st_mode) && status.st_dev != m_status.st_dev;
}
