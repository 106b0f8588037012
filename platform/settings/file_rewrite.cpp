// A replacement goes:
//   1. read the file, and return when the edit changes nothing
//   2. follow symbolic links, so that a link stays and its target is replaced
//   3. lock the file, or its folder while there is no file
//   4. read and edit again: the file may have changed before the lock was there
//   5. prepare the new file beside the old one: complete, with its mode and owner, flushed
//   6. put it in place: rename, flush the folder
// In a unit, step 6 gives the new file a name of the unit's, under which it waits for the unit's end.
#include "platform/settings/file_rewrite.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <map>
#include <optional>
#include <utility>

#include "platform/host/disk_error.h"
#include "platform/host/paths.h"
#include "platform/log/library_log.h"

using FileEdit = std::function<std::string(std::string_view)>;

namespace {

constexpr size_t kMaxFileSize = size_t{1} << 30;

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

bool FindPlace(const std::string& path, FilePlace& place) {
    place.path = ResolvePath(path);
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

bool Flush(int fd) {
    return RetryInterrupted([&] { return fsync(fd); }) == 0;
}

// The new content of a file, beside it under a temporary name until it is put in place.
class PreparedFile {
public:
    // The file will stand in the folder of the place, under the given name.
    PreparedFile(const FilePlace& place, std::string finalName)
        : place_(place),
          finalName_(std::move(finalName)),
          temporaryName_(place.name + std::string(kTemporarySuffix)) {}
    PreparedFile(const PreparedFile&) = delete;
    PreparedFile& operator=(const PreparedFile&) = delete;
    ~PreparedFile() { Discard(); }

    // Writes the file completely and flushes it. It gets the old file's mode and owner, if there is one.
    bool Prepare(std::string_view content, const FileDescriptor& oldFile) {
        if (Create() && Write(content) && TakeOver(oldFile) && Flush(file_.get()))
            return true;
        NoteErrno(errno);
        VG_LIB_LOG("Failed to write %s%s, %s.\n", place_.path.c_str(), kTemporarySuffix.data(),
                   std::strerror(errno));
        return false;
    }

    // Gives the prepared file its name, for good.
    bool PutInPlace() {
        if (IsOurs() && renameat(Folder(), temporaryName_.c_str(), Folder(), finalName_.c_str()) == 0) {
            file_ = FileDescriptor();
            if (Flush(Folder()))
                return true;
        }
        NoteErrno(errno);
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
    std::string finalName_;
    std::string temporaryName_;
    FileDescriptor file_;  // open from the creation to the renaming
};

// A file that waits for the end of the unit, and its lock.
struct WaitingFile {
    FilePlace place;
    FileDescriptor lock;
    std::string content;  // what the file will hold
};

struct Unit {
    std::string tag;
    std::map<std::string, WaitingFile> files;  // by the path that callers use
    bool failed = false;
};

std::optional<Unit>& OpenUnit() {
    static std::optional<Unit> unit;
    return unit;
}

// The file as the open unit has prepared it; null when it has not, or there is no unit.
WaitingFile* FindWaiting(const std::string& path) {
    auto& unit = OpenUnit();
    if (!unit)
        return nullptr;
    const auto found = unit->files.find(path);
    return found != unit->files.end() ? &found->second : nullptr;
}

constexpr std::string_view kUnitSuffix = ".vgunit-";

std::string WaitingName(const FilePlace& place, const std::string& tag) {
    return place.name + std::string(kUnitSuffix) + tag;
}

// Finds and locks the file and reads it again under the lock.
bool LockAndRead(const std::string& path, WaitingFile& file) {
    return FindPlace(path, file.place) && Lock(file.place, file.lock) &&
           (!file.lock || ReadAll(file.lock.get(), file.place.path, file.content));
}

bool Replace(WaitingFile& file, std::string content, const std::string& finalName) {
    PreparedFile prepared(file.place, finalName);
    if (!prepared.Prepare(content, file.lock) || !prepared.PutInPlace())
        return false;
    file.content = std::move(content);
    return true;
}

bool RenameWaiting(const FilePlace& place, const std::string& tag) {
    const int folder = place.folder.get();
    const std::string waiting = WaitingName(place, tag);
    const auto rename = [&] { return renameat(folder, waiting.c_str(), folder, place.name.c_str()) == 0; };
    // Each twice: what goes with the file has been committed, and a disk may fail for a moment.
    if ((rename() || (errno == EIO && rename())) && (Flush(folder) || Flush(folder)))
        return true;
    if (errno != ENOENT)
        VG_LIB_LOG("Failed to replace %s, %s.\n", place.path.c_str(), std::strerror(errno));
    return false;
}

}  // namespace

int FileUnit::Read(const std::string& path, std::string& content) {
    if (const WaitingFile* const waiting = FindWaiting(path)) {
        content = waiting->content;
        return 1;
    }
    content.clear();
    const std::string real = ResolvePath(path);
    const FileDescriptor file(open(real.c_str(), kReadFlags));
    if (file)
        return ReadAll(file.get(), real, content) ? 1 : -1;
    if (errno == ENOENT)
        return 0;
    VG_LIB_LOG("Failed to open %s, %s.\n", real.c_str(), std::strerror(errno));
    return -1;
}

namespace {

bool Rewrite(const std::string& path, const FileEdit& edit, std::optional<Unit>& unit) {
    std::string content;
    if (FileUnit::Read(path, content) < 0)
        return false;
    if (edit(content) == content)
        return true;

    WaitingFile fresh;
    WaitingFile* file = &fresh;
    if (WaitingFile* const waiting = FindWaiting(path))
        file = waiting;
    else if (!LockAndRead(path, fresh))
        return false;
    std::string edited = edit(file->content);
    if (edited == file->content)
        return true;
    if (!Replace(*file, std::move(edited), unit ? WaitingName(file->place, unit->tag) : file->place.name))
        return false;
    if (unit && file == &fresh)
        unit->files.emplace(path, std::move(fresh));
    return true;
}

}  // namespace

bool FileUnit::IsOpen() { return OpenUnit().has_value(); }

int FileUnit::Rewrite(const std::string& path, const FileEdit& edit) {
    auto& unit = OpenUnit();
    const bool done = ::Rewrite(path, edit, unit);
    if (unit && !done)
        unit->failed = true;
    return done ? 0 : -1;
}

bool FileUnit::HasFailed() { return OpenUnit() && OpenUnit()->failed; }

void FileUnit::Begin(const std::string& tag) {
    Discard();
    OpenUnit().emplace().tag = tag;
}

std::vector<std::string> FileUnit::Paths() {
    std::vector<std::string> paths;
    if (const auto& unit = OpenUnit())
        for (const auto& [path, file] : unit->files)
            paths.push_back(path);
    return paths;
}

int FileUnit::PutInPlace() {
    const std::optional<Unit> unit = std::exchange(OpenUnit(), std::nullopt);
    int result = 0;
    if (unit)
        for (const auto& [path, file] : unit->files)
            if (!RenameWaiting(file.place, unit->tag))
                result = -1;
    return result;
}

void FileUnit::Abandon() { OpenUnit().reset(); }

void FileUnit::Discard() {
    const std::optional<Unit> unit = std::exchange(OpenUnit(), std::nullopt);
    if (unit)
        for (const auto& [path, file] : unit->files)
            unlinkat(file.place.folder.get(), WaitingName(file.place, unit->tag).c_str(), 0);
}

int FileUnit::Finish(const std::string& path, const std::string& tag) {
    FilePlace place;
    if (!FindPlace(path, place))
        return -1;
    // Gone when the rename was done before the interruption.
    return RenameWaiting(place, tag) || errno == ENOENT ? 0 : -1;
}

void FileUnit::RemoveLeftovers(const std::string& path) {
    FilePlace place;
    const std::string folderOfFile = ResolvePath(path.substr(0, path.rfind('/')));
    if (access(folderOfFile.c_str(), F_OK) != 0 || !FindPlace(path, place))
        return;
    const int folder = dup(place.folder.get());
    DIR* const entries = fdopendir(folder);
    if (!entries) {
        close(folder);
        return;
    }
    const std::string waiting = place.name + std::string(kUnitSuffix);
    while (const dirent* const entry = readdir(entries))
        if (std::string_view(entry->d_name).starts_with(waiting))
            unlinkat(place.folder.get(), entry->d_name, 0);
    closedir(entries);
}
