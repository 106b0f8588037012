#include "platform/files/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/base/once_more.h"
#include "platform/base/package_log.h"

namespace {

constexpr size_t kBlockSize = 64 * 1024;

}  // namespace

const int kReadFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

UniqueFd::~UniqueFd() {
    if (m_fd >= 0)
        close(m_fd);
}

int ReadWholeFile(const std::string& path, std::string& content) {
    bool isThere = true;
    const int failed = OnceMore([&] {
        content.clear();
        const UniqueFd file(open(path.c_str(), kReadFlags));
        isThere = file || errno != ENOENT;
        if (!file)
            return isThere ? LogErrno("read", path, __LINE__, "ReadWholeFile") : 0;
        return ReadWholeFile(file.Get(), path, content);
    });
    return failed ? -1 : isThere;
}

int ReadWholeFile(int fd, const std::string& path, std::string& content) {
    content.clear();
    struct stat status {};
    if (fstat(fd, &status) != 0)
        return LogErrno("read", path);
    if (!S_ISREG(status.st_mode)) {
        VG_LIB_LOG("Failed to read %s. [Not a regular file]\n", path.c_str());
        return -1;
    }
    if (std::cmp_greater(status.st_size, kMaxFileSize)) {
        errno = EFBIG;
        return LogErrno("read", path);
    }
    content.reserve(static_cast<size_t>(status.st_size));
    std::vector<char> block(kBlockSize);
    for (;;) {
        const ssize_t count = ReadBlock(fd, block);
        if (count == 0)
            return 0;
        if (count < 0) {
            content.clear();
            return LogErrno("read", path);
        }
        content.append(block.data(), static_cast<size_t>(count));
    }
}

ssize_t ReadBlock(int fd, std::vector<char>& block) {
    size_t filled = 0;
    while (filled < block.size()) {
        const ssize_t count =
            RetryInterrupted([&] { return read(fd, block.data() + filled, block.size() - filled); });
        if (count < 0)
            return -1;
        if (count == 0)
            break;
        filled += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(filled);
}

bool WriteAll(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t count = RetryInterrupted([&] { return write(fd, data.data(), data.size()); });
        if (count < 0)
            return false;
        data.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

bool Flush(int fd) {
    return RetryInterrupted([&] { return fsync(fd); }) == 0 || IsNotSupported(errno);
}

bool IsNotSupported(int error) {
    // ENOTSUP and EOPNOTSUPP are one number here.
    return error == EINVAL || error == ENOLCK || error == ENOTSUP || error == ENOSYS;
}
