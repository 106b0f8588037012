// An open folder and the calls on its entries, none of which follows a symbolic link.
#pragma once

#include <sys/stat.h>

#include <string>
#include <utility>
#include <vector>

// One owner for a file descriptor.
class UniqueFd {
public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    ~UniqueFd();

    int Get() const { return m_fd; }
    explicit operator bool() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};

// Each call that fails gives false, or an object that is false, and sets errno.
class Folder {
public:
    Folder() = default;

    // Opens a folder by its real path; symbolic links in the path are followed.
    static Folder Open(const std::string& path);

    // Opens a folder in this one.
    Folder OpenFolder(const std::string& name) const;

    // Opens a regular file in this one for reading.
    UniqueFd OpenFile(const std::string& name) const;

    bool Stat(const std::string& name, struct stat& status) const;
    bool ReadLink(const std::string& name, std::string& target) const;

    // The entries' names in byte order, "." and ".." aside.
    bool List(std::vector<std::string>& names) const;

    // Flushes the folder's entries to disk.
    bool Sync() const;

    // Whether both are one folder, by whatever paths they were reached.
    bool IsSameAs(const Folder& other) const;

    // Whether the entry, a folder by its status, lies on another file system than this folder.
    bool IsMountPoint(const struct stat& status) const;

    int Fd() const { return m_fd.Get(); }
    std::string PathOf(const std::string& name) const { return m_path + '/' + name; }
    explicit operator bool() const { return static_cast<bool>(m_fd); }

private:
    Folder(int fd, std::string path);

    UniqueFd m_fd;
    std::string m_path;
    struct stat m_status {};
};
