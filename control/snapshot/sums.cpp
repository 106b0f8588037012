#include "control/snapshot/sums.h"

#include <cerrno>

#include "control/snapshot/sha256.h"

namespace {

BlockSink SinkOf(Sha256& sha, const Progress& progress) {
    return [&](std::string_view block) {
        sha.Add(block);
        if (progress)
            progress(block.size());
        return true;
    };
}

// '' with errno.
std::string SumOf(Sha256& sha) {
    std::string sum = sha.Sum();
    if (sum.empty())
        errno = ENOMEM;
    return sum;
}

}  // namespace

UniqueFd CopyWithSum(int from, const Folder& to, const std::string& name, const Progress& progress,
                     std::string& sum) {
    Sha256 sha;
    UniqueFd copy = CopyFile(from, to, name, SinkOf(sha, progress));
    sum = copy ? SumOf(sha) : "";
    return sum.empty() ? UniqueFd() : std::move(copy);
}

std::string SumOfFile(int fd, const Progress& progress) {
    Sha256 sha;
    return ReadBlocks(fd, SinkOf(sha, progress)) ? SumOf(sha) : "";
}
