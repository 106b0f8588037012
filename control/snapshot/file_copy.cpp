#include "control/snapshot/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <future>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "control/snapshot/sha256.h"
#include "platform/files/attributes.h"

namespace {

constexpr size_t kBlockSize = 16 * 1024 * 1024;

// What a write past the cache asks of the memory, on every file system.
constexpr size_t kAlignment = 4096;

struct Free {
    void operator()(char* memory) const { std::free(memory); }
};

// Writes one file from its beginning: where it may, and the file system can, whole blocks past the cache. That spares
// the cache what is not read again soon, and leaves the flush at the end little to do.
class BlockWriter {
public:
    BlockWriter(int fd, bool mayPassCache) : m_fd(fd), m_canPassCache(mayPassCache) {}

    bool Write(std::string_view block) {
        SetPastCache(m_canPassCache && block.size() == kBlockSize);
        if (!WriteAll(m_fd, block)) {
            if (!m_pastCache || !m_canPassCache || errno != EINVAL || lseek(m_fd, m_written, SEEK_SET) < 0)
                return false;
            m_canPassCache = false;
            return Write(block);
        }
        m_written += static_cast<off_t>(block.size());
        return true;
    }

private:
    void SetPastCache(bool past) {
        if (past == m_pastCache)
            return;
        const int flags = fcntl(m_fd, F_GETFL);
        if (flags >= 0 && fcntl(m_fd, F_SETFL, past ? flags | O_DIRECT : flags & ~O_DIRECT) == 0)
            m_pastCache = past;
        else
            m_canPassCache = false;
    }

    int m_fd;
    off_t m_written = 0;
    bool m_canPassCache;
    bool m_pastCache = false;
};

// Passes every block of the file, from its beginning, to the function, which gives false to stop. Meanwhile another
// processor takes the sum, where it is wanted.
template <class Function>
bool ForEachBlock(int fd, std::string* sum, const Progress& progress, Function function) {
    (void)posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    Sha256 sha;
    off_t at = 0;
    // Its bytes; or none at the end, or the error.
    struct Block {
        std::unique_ptr<char, Free> bytes{static_cast<char*>(std::aligned_alloc(kAlignment, kBlockSize))};
        size_t count = 0;
        int error = 0;
    };
    const auto read = [&](Block& block) {
        const ssize_t count = RetryInterrupted([&] { return pread(fd, block.bytes.get(), kBlockSize, at); });
        block.error = count < 0 ? errno : 0;
        block.count = count < 0 ? 0 : static_cast<size_t>(count);
        at += static_cast<off_t>(block.count);
        // The disk is to work while this block is worked on.
        (void)posix_fadvise(fd, at, kBlockSize, POSIX_FADV_WILLNEED);
    };
    Block now;
    Block next;
    if (!now.bytes || !next.bytes) {
        errno = ENOMEM;
        return false;
    }
    for (read(now); now.count > 0; std::swap(now, next)) {
        const std::string_view block(now.bytes.get(), now.count);
        const bool isWorthAThread = sum && block.size() == kBlockSize;
        std::future<void> summing = std::async(
            isWorthAThread ? std::launch::async | std::launch::deferred : std::launch::deferred, [&] {
                if (sum)
                    sha.Add(block);
            });
        const bool goesOn = function(block);
        const int error = errno;
        if (goesOn)
            read(next);
        if (progress)
            progress(block.size());
        summing.get();
        errno = error;
        if (!goesOn)
            return false;
    }
    errno = now.error;
    if (errno != 0 || !sum)
        return errno == 0;
    *sum = sha.Sum();
    if (sum->empty())
        errno = ENOMEM;
    return !sum->empty();
}

bool CopyContent(int from, int to, std::string* sum, const Progress& progress) {
    if (ioctl(to, FICLONE, from) == 0) {
        if (sum)
            *sum = SumOfFile(to, progress);
        return !sum || !sum->empty();
    }
    BlockWriter writer(to, sum != nullptr);
    return ForEachBlock(from, sum, progress, [&](std::string_view block) { return writer.Write(block); });
}

bool CopyOne(FileCopy& job, const Progress& progress) {
    struct stat status {};
    if (fstat(job.from, &status) != 0) {
        job.error = errno;
        return false;
    }
    UniqueFd copy(
        openat(job.to->Fd(), job.name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    const std::array<timespec, 2> times = {status.st_atim, status.st_mtim};
    if (!copy || !CopyContent(job.from, copy.Get(), job.isKept ? &job.sum : nullptr, progress) ||
        !CopyOwnerAndMode(job.from, status, copy.Get()) || futimens(copy.Get(), times.data()) != 0) {
        job.error = errno;
        return false;
    }
    job.copy = std::move(copy);
    return true;
}

}  // namespace

bool CanShareBlocks(int from, const Folder& to) {
    const UniqueFd trial(openat(to.Fd(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    return trial && ioctl(trial.Get(), FICLONE, from) == 0;
}

const FileCopy* CopyFiles(std::vector<FileCopy>& copies, const Progress& progress) {
    const auto failed =
        std::find_if_not(copies.begin(), copies.end(), [&](FileCopy& job) { return CopyOne(job, progress); });
    return failed == copies.end() ? nullptr : &*failed;
}

std::string SumOfFile(int fd, const Progress& progress) {
    std::string sum;
    return ForEachBlock(fd, &sum, progress, [](std::string_view) { return true; }) ? sum : "";
}
