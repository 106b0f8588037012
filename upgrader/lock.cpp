#include "upgrader/lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "platform/base/paths.h"
#include "platform/files/holder.h"

namespace {

constexpr std::chrono::milliseconds kPollInterval{100};

// The process that holds a flock on the open file, 0 when the kernel does not tell. A line of /proc/locks is
//   1: FLOCK  ADVISORY  WRITE 1234 fe:00:5678 0 EOF
// The device is left aside: some file systems show another one there than stat gives.
int HolderOf(int fd) {
    struct stat status {};
    if (fstat(fd, &status) != 0)
        return 0;
    const std::string inode = ":" + std::to_string(status.st_ino);
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream fields(line);
        std::string number, kind, mode, access, file;
        int pid = 0;
        // The line of a process that waits has "->" before the kind and is thereby left aside.
        if (fields >> number >> kind >> mode >> access >> pid >> file && kind == "FLOCK" &&
            file.ends_with(inode))
            return pid;
    }
    return 0;
}

}  // namespace

bool UpgradeLock::Acquire(std::chrono::milliseconds patience, LogSite site) {
    const std::string folder = ResolvePath(kTargetDir);
    m_folder = UniqueFd(open(folder.c_str(), kReadFlags | O_DIRECTORY));
    if (!m_folder) {
        LogMessage(site, "Cannot open %s: %s\n", folder.c_str(), std::strerror(errno));
        return true;
    }
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (bool told = false; flock(m_folder.Get(), LOCK_EX | LOCK_NB) != 0; told = true) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            LogMessage(site, "Cannot lock %s: %s\n", folder.c_str(), std::strerror(errno));
            return true;  // a file system without locks upgrades as it always did
        }
        const int holder = HolderOf(m_folder.Get());
        if (!told)
            LogMessage(site, "Waiting for process %d, which is upgrading this package.\n", holder);
        if (std::chrono::steady_clock::now() >= deadline) {
            LogMessage(site, "Process %d is still upgrading this package, giving up; nothing was changed.\n",
                       holder);
            return false;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return true;
}

int UpgradeLock::Holder() {
    const std::string path = ResolvePath(kTargetDir);
    const UniqueFd folder(open(path.c_str(), kReadFlags | O_DIRECTORY));
    const int pid = folder ? HolderOf(folder.Get()) : 0;
    // A folder of another file system may have the same number: who may look asks the processes themselves.
    return pid == 0 || geteuid() != 0 ? pid : FindHolder(path, Having::Locked).pid;
}
