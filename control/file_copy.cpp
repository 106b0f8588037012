#include "control/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <future>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "control/sha256.h"
#include "platform/files/attributes.h"

namespace {

constexpr size_t kBlockSize = 1024 * 1024;

// Brings what was written so far on its way to the disk, so that the flush at the end has little left to do.
constexpr off_t kWriteOutEvery = 16 * 1024 * 1024;

// A smaller file is not worth a processor of its own.
constexpr off_t kLarge = 16 * 1024 * 1024;

// Passes every block of the file, from its beginning, to the function, which gives false to stop. The sum, where it is
// wanted, is taken meanwhile on another processor.
template <class Function>
bool ForEachBlock(int fd, std::string* sum, const Progress& progress, Function function) {
    (void)posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    std::array<std::vector<char>, 2> blocks = {std::vector<char>(kBlockSize), std::vector<char>(kBlockSize)};
    Sha256 sha;
    std::future<void> summing;  // destroyed first, which waits for it
    for (off_t at = 0;;) {
        std::vector<char>& buffer = blocks[static_cast<size_t>(at) / kBlockSize % 2];
        const size_t begin = static_cast<size_t>(at) % kBlockSize;
        const ssize_t count =
            RetryInterrupted([&] { return pread(fd, buffer.data() + begin, kBlockSize - begin, at); });
        if (count < 0)
            return false;
        if (summing.valid())
            summing.get();
        if (count == 0)
            break;
        const std::string_view block(buffer.data() + begin, static_cast<size_t>(count));
        if (sum)
            summing = std::async([&sha, block] { sha.Add(block); });
        if (!function(block))
            return false;
        if (progress)
            progress(block.size());
        at += count;
    }
    if (!sum)
        return true;
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

off_t SizeOf(const FileCopy& job) {
    struct stat status {};
    return fstat(job.from, &status) == 0 ? status.st_size : 0;
}

}  // namespace

bool CanShareBlocks(int from, const Folder& to) {
    const UniqueFd trial(openat(to.Fd(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    return trial && ioctl(trial.Get(), FICLONE, from) == 0;
}

const FileCopy* CopyFiles(std::vector<FileCopy>& copies, const Progress& progress) {
    std::vector<FileCopy*> large;
    for (FileCopy& job : copies) {
        if (SizeOf(job) >= kLarge)
            large.push_back(&job);
        else if (!CopyOne(job, progress))
            return &job;
    }
    std::sort(large.begin(), large.end(),
              [](const FileCopy* a, const FileCopy* b) { return SizeOf(*a) > SizeOf(*b); });

    std::mutex telling;
    const Progress tell = [&](uint64_t bytes) {
        const std::lock_guard lock(telling);
        if (progress)
            progress(bytes);
    };
    std::atomic<size_t> next = 0;
    std::atomic<bool> failed = false;
    const auto work = [&] {
        for (size_t i = next++; i < large.size() && !failed; i = next++)
            if (!CopyOne(*large[i], tell))
                failed = true;
    };
    std::vector<std::future<void>> others;
    for (size_t i = 1; i < std::min<size_t>(large.size(), std::thread::hardware_concurrency()); ++i)
        others.push_back(std::async(work));
    work();
    for (std::future<void>& other : others)
        other.get();
    const auto bad =
        std::find_if(large.begin(), large.end(), [](const FileCopy* job) { return job->error != 0; });
    return bad == large.end() ? nullptr : *bad;
}

std::string SumOfFile(int fd, const Progress& progress) {
    std::string sum;
    return ForEachBlock(fd, &sum, progress, [](std::string_view) { return true; }) ? sum : "";
}
