#include "control/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <future>
#include <string_view>
#include <utility>
#include <vector>

#include "control/sha256.h"
#include "platform/files/attributes.h"

namespace {

// Large enough that a thread a block costs nothing, small enough for two blocks to stay in a processor's cache.
constexpr size_t kBlockSize = 1024 * 1024;

// Brings what was written so far on its way to the disk, so that the flush at the end has little left to do.
constexpr off_t kWriteOutEvery = 16 * 1024 * 1024;

// Passes every block of the file, from its beginning, to the function, which gives false to stop. The next block is
// read, and the sum, where it is wanted, taken meanwhile on another processor.
template <class Function>
bool ForEachBlock(int fd, std::string* sum, const Progress& progress, Function function) {
    (void)posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    Sha256 sha;
    off_t at = 0;
    // Its bytes; or none at the end, or the error.
    struct Block {
        std::vector<char> bytes = std::vector<char>(kBlockSize);
        size_t count = 0;
        int error = 0;
    };
    const auto read = [&](Block& block) {
        const ssize_t count =
            RetryInterrupted([&] { return pread(fd, block.bytes.data(), block.bytes.size(), at); });
        block.error = count < 0 ? errno : 0;
        block.count = count < 0 ? 0 : static_cast<size_t>(count);
        at += static_cast<off_t>(block.count);
        if (sum)
            sha.Add({block.bytes.data(), block.count});
    };
    Block now;
    Block next;
    for (read(now); now.count > 0; std::swap(now, next)) {
        const auto policy =
            now.count < kBlockSize ? std::launch::deferred : std::launch::async | std::launch::deferred;
        std::future<void> reading = std::async(policy, read, std::ref(next));
        const bool goesOn = function(std::string_view(now.bytes.data(), now.count));
        const int error = errno;
        if (progress)
            progress(now.count);
        reading.get();
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
    off_t written = 0;
    off_t writtenOut = 0;
    return ForEachBlock(from, sum, progress, [&](std::string_view block) {
        if (!WriteAll(to, block))
            return false;
        written += static_cast<off_t>(block.size());
        if (written - writtenOut >= kWriteOutEvery) {
            (void)sync_file_range(to, writtenOut, written - writtenOut, SYNC_FILE_RANGE_WRITE);
            writtenOut = written;
        }
        return true;
    });
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
    if (!copy || !CopyContent(job.from, copy.Get(), job.wantsSum ? &job.sum : nullptr, progress) ||
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
