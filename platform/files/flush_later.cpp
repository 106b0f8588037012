#include "platform/files/flush_later.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "platform/base/disk_error.h"
#include "platform/base/once_more.h"
#include "platform/base/package_log.h"
#include "platform/files/file_io.h"

namespace {

struct Waiting {
    UniqueFd folder;
    std::string path;
};

using Device = dev_t;
using Identity = std::pair<dev_t, ino_t>;

std::map<Identity, Waiting> g_folders;
std::map<Device, Waiting> g_fileSystems;

bool FlushFileSystem(int fd) { return syncfs(fd) == 0; }

// Keeps a descriptor of its own; where there is none left, the flush is made at once.
template <class Key>
bool Keep(std::map<Key, Waiting>& waiting, const Key& key, const Folder& folder, bool (*flush)(int)) {
    if (waiting.contains(key))
        return true;
    UniqueFd own(fcntl(folder.Fd(), F_DUPFD_CLOEXEC, 0));
    if (!own)
        return flush(folder.Fd());
    waiting.emplace(key, Waiting{std::move(own), folder.PathOf("")});
    return true;
}

template <class Key>
std::string FlushAll(std::map<Key, Waiting>& waiting, bool (*flush)(int)) {
    std::string failure;
    for (auto next = waiting.begin(); next != waiting.end();) {
        const Waiting& one = next->second;
        const auto call = [&, fd = one.folder.Get()] {
            if (flush(fd))
                return 0;
            NoteErrno(errno);
            return -1;
        };
        const bool failed = OnceMore(call) != 0;
        if (failed) {
            failure = one.path + ": " + std::strerror(errno);
            (void)LogErrno("flush", one.path);
        }
        next = failed ? std::next(next) : waiting.erase(next);
    }
    return failure;
}

}  // namespace

bool FlushLater(const Folder& folder) {
    struct stat status {};
    return fstat(folder.Fd(), &status) == 0 &&
           Keep(g_folders, Identity{status.st_dev, status.st_ino}, folder, Flush);
}

bool FlushFileSystemLater(const Folder& folder) {
    struct stat status {};
    return fstat(folder.Fd(), &status) == 0 && Keep(g_fileSystems, status.st_dev, folder, FlushFileSystem);
}

std::string VGFilesFlush() {
    std::set<Device> whole;
    for (const auto& [device, one] : g_fileSystems)
        whole.insert(device);
    std::string failure = FlushAll(g_fileSystems, FlushFileSystem);
    if (failure.empty())
        std::erase_if(g_folders, [&whole](const auto& one) { return whole.contains(one.first.first); });
    if (std::string folders = FlushAll(g_folders, Flush); failure.empty())
        failure = std::move(folders);
    return failure;
}
