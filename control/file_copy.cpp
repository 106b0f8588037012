#include "control/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <future>
#include <string_view>
#include <vector>

#include "control/sha256.h"
#include "platform/files/attributes.h"

namespace {

constexpr size_t kBlockSize = 1024 * 1024;

// Brings what was written so far on its way to the disk, so that the flush at the end has little left to do.
constexpr off_t kWriteOutEvery = 16 * 1024 * 1024;

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

}  // namespace

bool CanShareBlocks(int from, const Folder& to) {
    const UniqueFd trial(openat(to.Fd(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    return trial && ioctl(trial.Get(), FICLONE, from) == 0;
}

UniqueFd CopyFile(int from, const Folder& to, const std::string& name, std::string* sum,
                  const Progress& progress) {
    struct stat status {};
    if (fstat(from, &status) != 0)
        return UniqueFd();
    UniqueFd copy(openat(to.Fd(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    const std::array<timespec, 2> times = {status.st_atim, status.st_mtim};
    if (copy && CopyContent(from, copy.Get(), sum, progress) && CopyOwnerAndMode(from, status, copy.Get()) &&
        futimens(copy.Get(), times.data()) == 0)
        return copy;
    return UniqueFd();
}

std::string SumOfFile(int fd, const Progress& progress) {
    std::string sum;
    return ForEachBlock(fd, &sum, progress, [](std::string_view) { return true; }) ? sum : "";
}
