// Descriptors, and whole reads and writes through them.
#pragma once

#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
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

// How a regular file is opened for reading. Not blocking, since a FIFO in the file's place would stop the
// upgrade for good.
extern const int kReadFlags;

// A larger file is not read whole: no file of the package comes near, and a damaged one must not eat the
// memory.
inline constexpr size_t kMaxFileSize = size_t{1} << 30;

template <class Call>
auto RetryInterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

// Reads a regular file by its real path. Returns 1; 0 when there is none (nor its folder); -1 (logged) when
// it cannot be read, after a second try when the disk has failed. The content is empty but after 1.
[[nodiscard]] int ReadWholeFile(const std::string& path, std::string& content);

// The same for an open file; the path is for the log. Returns 0 or -1.
[[nodiscard]] int ReadWholeFile(int fd, const std::string& path, std::string& content);

// Reads until the block is full or the file ends; negative, with errno, on failure.
ssize_t ReadBlock(int fd, std::vector<char>& block);

// False, with errno, on failure.
bool WriteAll(int fd, std::string_view data);

// Flushes a file or a folder to disk. A file system that knows no such call counts as one that flushes by
// itself. False, with errno, on failure.
bool Flush(int fd);

// Whether a call on a folder (fsync) or a lock (flock) failed only because the file system does not have it.
bool IsNotSupported(int error);
