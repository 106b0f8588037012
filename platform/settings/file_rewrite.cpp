// A replacement goes:
//   1. read the file, and return when the edit changes nothing
//   2. follow symbolic links, so that a link stays and its target is replaced
//   3. lock the file, or its folder while there is no file
//   4. read and edit again: the file may have changed before the lock was there
//   5. prepare the new file beside the old one: complete, with its mode and owner, flushed
//   6. put it in place: rename, flush the folder
#include "platform/settings/file_rewrite.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "platform/log/library_log.h"

namespace {

// One name for all writers: only the holder of the lock uses it, so what stands there before is litter.
constexpr std::string_view kTemporarySuffix = ".vgtmp";

// Not blocking, since a FIFO in the file's place would stop the upgrade for good.
constexpr int kReadFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

template <typename Call>
auto RetryInterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd = -1) : fd_(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~FileDescriptor() {
        if (fd_ >= 0)
            close(fd_);
    }

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }

private:
    int fd_;
};

// A file as its open folder and its name in it.
struct FilePlace {
    std::string path;
    std::string name;
    FileDescriptor folder;
};

bool IsSameFile(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool ReadAll(int fd, const std::string& path, std::string& content) {
    struct stat state {};
    if (fstat(fd, &state) == 0) {
        if (!S_ISREG(state.st_mode)) {
            VG_LIB_LOG("Failed to read %s, not a regular file.\n", path.c_str());
            return false;
        }
        if (std::cmp_greater(state.st_size, kMaxFileSize)) {
            VG_LIB_LOG("Failed to read %s, %s.\n", path.c_str(), std::strerror(EFBIG));
            return false;
        }
        content.reserve(static_cast<size_t>(state.st_size));
    }
    std::array<char, 65536> buffer;
    for (;;) {
        const ssize_t count = RetryInterrupted([&] { return read(fd, buffer.data(), buffer.size()); });
        if (count == 0)
            return true;
        if (count < 0) {
            VG_LIB_LOG("Failed to read %s, %s.\n", path.c_str(), std::strerror(errno));
            return false;
        }
        content.append(buffer.data(), static_cast<size_t>(count));
    }
}

// The path behind any symbolic links at its end, which need not exist. Empty, with errno, on failure.
std::string FollowLinks(std::string path) {
    constexpr int kMaxLinks = 40;  // as many as the kernel follows
    for (int links = 0; links <= kMaxLinks; ++links) {
        std::array<char, PATH_MAX> target;
        const ssize_t size = readlink(path.c_str(), target.data(), target.size());
        if (size < 0)
            return errno == EINVAL || errno == ENOENT ? path : "";
        const std::string_view text(target.data(), static_cast<size_t>(size));
        path.resize(text.starts_with('/') ? 0 : path.rfind('/') + 1);
        path += text;
    }
    errno = ELOOP;
    return "";
}

bool FindPlace(const std::string& path, FilePlace& place) {
    place.path = FollowLinks(path);
    if (!place.path.empty()) {
        const size_t nameBegin = place.path.rfind('/') + 1;
        place.name = place.path.substr(nameBegin);
        const std::string folder = nameBegin == 0 ? "." : place.path.substr(0, nameBegin);
        place.folder = FileDescriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    }
    if (place.folder)
        return true;
    VG_LIB_LOG("Failed to open the folder of %s, %s.\n", path.c_str(), std::strerror(errno));
    return false;
}

// Waits for the lock. The file is then open and is the one that stands at the place; while there is none, the
// folder holds the lock. Closing either gives the lock back.
bool Lock(const FilePlace& place, FileDescriptor& file) {
    const int folder = place.folder.get();
    const char* const name = place.name.c_str();
    for (;;) {
        file = FileDescriptor(openat(folder, name, kReadFlags | O_NOFOLLOW));
        if (!file && errno != ENOENT)
            break;
        const int locked = file ? file.get() : folder;
        if (RetryInterrupted([&] { return flock(locked, LOCK_EX); }) != 0)
            break;

        // Whoever had the lock before may have replaced or created the file.
        struct stat standing {};
        const bool stands = fstatat(folder, name, &standing, AT_SYMLINK_NOFOLLOW) == 0;
        if (!stands && errno != ENOENT)
            break;
        struct stat opened {};
        if (file ? stands && fstat(file.get(), &opened) == 0 && IsSameFile(opened, standing) : !stands)
            return true;
        flock(locked, LOCK_UN);
    }
    VG_LIB_LOG("Failed to lock %s, %s.\n", place.path.c_str(), std::strerror(errno));
    return false;
}

// The new content of a file, beside it under a temporary name until it is put in place.
class PreparedFile {
public:
    explicit PreparedFile(const FilePlace& place)
        : place_(place), temporaryName_(place.name + std::string(kTemporarySuffix)) {}
    PreparedFile(const PreparedFile&) = delete;
    PreparedFile& operator=(const PreparedFile&) = delete;
    ~PreparedFile() { Discard(); }

    // Writes the file completely and flushes it. It gets the old file's mode and owner, if there is one.
    bool Prepare(std::string_view content, const FileDescriptor& oldFile) {
        if (Create() && Write(content) && TakeOver(oldFile) && Flush(file_.get()))
            return true;
        VG_LIB_LOG("Failed to write %s%s, %s.\n", place_.path.c_str(), kTemporarySuffix.data(),
                   std::strerror(errno));
        return false;
    }

    // Makes the prepared file the one that stands at the place, for good.
    bool PutInPlace() {
        if (IsOurs() && renameat(Folder(), temporaryName_.c_str(), Folder(), place_.name.c_str()) == 0) {
            file_ = FileDescriptor();
            if (Flush(Folder()))
                return true;
        }
        VG_LIB_LOG("Failed to replace %s, %s.\n", place_.path.c_str(), std::strerror(errno));
        return false;
    }

private:
    int Folder() const { return place_.folder.get(); }

    bool Create() {
        unlinkat(Folder(), temporaryName_.c_str(), 0);
        file_ = FileDescriptor(openat(Folder(), temporaryName_.c_str(),
                                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        return static_cast<bool>(file_);
    }

    bool Write(std::string_view content) {
        while (!content.empty()) {
            const ssize_t count =
                RetryInterrupted([&] { return write(file_.get(), content.data(), content.size()); });
            if (count < 0)
                return false;
            content.remove_prefix(static_cast<size_t>(count));
        }
        return true;
    }

    bool TakeOver(const FileDescriptor& oldFile) {
        if (!oldFile)
            return fchmod(file_.get(), 0644) == 0;
        struct stat old {};
        struct stat own {};
        if (fstat(oldFile.get(), &old) != 0 || fstat(file_.get(), &own) != 0)
            return false;
        if ((old.st_uid != own.st_uid || old.st_gid != own.st_gid) &&
            fchown(file_.get(), old.st_uid, old.st_gid) != 0)
            return false;
        return fchmod(file_.get(), old.st_mode & 07777) == 0;
    }

    static bool Flush(int fd) {
        return RetryInterrupted([&] { return fsync(fd); }) == 0;
    }

    // False when something that does not know of the lock has put another file under the temporary name.
    bool IsOurs() const {
        struct stat own {};
        struct stat standing {};
        if (fstat(file_.get(), &own) != 0 ||
            fstatat(Folder(), temporaryName_.c_str(), &standing, AT_SYMLINK_NOFOLLOW) != 0)
            return false;
        if (IsSameFile(own, standing))
            return true;
        errno = EBUSY;
        return false;
    }

    void Discard() {
        if (file_ && IsOurs())
            unlinkat(Folder(), temporaryName_.c_str(), 0);
    }

    const FilePlace& place_;
    std::string temporaryName_;
    FileDescriptor file_;  // open from the creation to the renaming
};

}  // namespace

FileRead ReadWholeFile(const std::string& path, std::string& content) {
    content.clear();
    const FileDescriptor file(open(path.c_str(), kReadFlags));
    if (file)
        return ReadAll(file.get(), path, content) ? FileRead::kRead : FileRead::kFailed;
    if (errno == ENOENT)
        return FileRead::kMissing;
    VG_LIB_LOG("Failed to open %s, %s.\n", path.c_str(), std::strerror(errno));
    return FileRead::kFailed;
}

int RewriteFile(const std::string& path, const FileEdit& edit) {
    std::string content;
    if (ReadWholeFile(path, content) == FileRead::kFailed)
        return -1;
    if (edit(content) == content)
        return 0;

    FilePlace place;
    FileDescriptor file;
    if (!FindPlace(path, place) || !Lock(place, file))
        return -1;
    content.clear();
    if (file && !ReadAll(file.get(), place.path, content))
        return -1;
    const std::string newContent = edit(content);
    if (newContent == content)
        return 0;

    PreparedFile prepared(place);
    return prepared.Prepare(newContent, file) && prepared.PutInPlace() ? 0 : -1;
}
