#include "control/file_copy.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <vector>

#include "control/sha256.h"
#include "platform/files/attributes.h"

namespace {

constexpr size_t kBlockSize = 1024 * 1024;

// Brings what was written so far on its way to the disk, so that the flush at the end has little left to do.
constexpr off_t kWriteOutEvery = 16 * 1024 * 1024;

std::string NoSum() {
    errno = ENOMEM;
    return "";
}

// Passes every block of the file, from its beginning, to the function, which gives false to stop.
template <class Function>
bool ForEachBlock(int fd, Function function) {
    (void)posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    std::vector<char> block(kBlockSize);
    for (off_t at = 0;;) {
        const ssize_t count = RetryInterrupted([&] { return pread(fd, block.data(), block.size(), at); });
        if (count <= 0)
            return count == 0;
        if (!function(std::string_view(block.data(), static_cast<size_t>(count))))
            return false;
        at += count;
    }
}

bool CopyContent(int from, int to, std::string* sum, const Progress& progress) {
    if (ioctl(to, FICLONE, from) == 0) {
        if (sum)
            *sum = SumOfFile(to, progress);
        return !sum || !sum->empty();
    }
    Sha256 sha;
    off_t written = 0;
    const bool copied = ForEachBlock(from, [&](std::string_view block) {
        if (!WriteAll(to, block))
            return false;
        const off_t before = written;
        written += static_cast<off_t>(block.size());
        if (before / kWriteOutEvery != written / kWriteOutEvery)
            (void)sync_file_range(to, 0, written, SYNC_FILE_RANGE_WRITE);
        if (sum)
            sha.Add(block);
        if (progress)
            progress(block.size());
        return true;
    });
    if (copied && sum)
        *sum = sha.Sum();
    return copied && (!sum || !sum->empty() || !NoSum().empty());
}

}  // namespace

bool CanShareBlocks(int from, const Folder& to) {
    const UniqueFd trial(openat(to.Fd(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    return trial && ioctl(trial.Get(), FICLONE, from) == 0;
}

UniqueFd CopyFile(int from, const Folder& to, const std::string& name, std::string* sum, const Progress& progress) {
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
    Sha256 sha;
    const bool read = ForEachBlock(fd, [&](std::string_view block) {
        sha.Add(block);
        if (progress)
            progress(block.size());
        return true;
    });
    if (!read)
        return "";
    const std::string sum = sha.Sum();
    return sum.empty() ? NoSum() : sum;
}
