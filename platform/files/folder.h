// An open folder and the calls on its entries, none of which follows a symbolic link.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "platform/files/file_io.h"

// Whether both are one file or folder, by whatever paths they were reached.
inline bool IsSameFile(const struct stat& first, const struct stat& second) {
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

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

    // Whether it belongs to root, or to the user who runs the program, and nobody else may write to it. Only what stands
    // in such a folder tells a program of root's what to do.
    bool IsOurs() const;

    bool IsSameAs(const Folder& other) const { return IsSameFile(m_status, other.m_status); }

    // Whether something is mounted on the entry, a folder by its status: also a part of this file system.
    bool IsMountPoint(const std::string& name, const struct stat& status) const;

    int Fd() const { return m_fd.Get(); }
    std::string PathOf(const std::string& name) const { return m_path + '/' + name; }
    explicit operator bool() const { return static_cast<bool>(m_fd); }

private:
    Folder(int fd, std::string path);

    UniqueFd m_fd;
    std::string m_path;
    struct stat m_status {};
};
