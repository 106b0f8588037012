#include "platform/files/holder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>

#include "platform/files/folder.h"

namespace {

std::string FirstLine(const std::string& path) {
    std::string line;
    std::ifstream file(path);
    std::getline(file, line);
    return line;
}

// /proc/PID/fdinfo/N has a line "lock:" for each lock that was taken through the descriptor, or by the process.
bool HasLock(const std::string& fdInfo) {
    std::ifstream file(fdInfo);
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("lock:"))
            return true;
    return false;
}

bool HasFile(const std::string& process, const struct stat& wanted, Having having) {
    const Folder descriptors = Folder::Open(process + "/fd");
    std::vector<std::string> names;
    if (!descriptors || !descriptors.List(names))
        return false;  // of somebody else, or gone
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        struct stat status {};
        return fstatat(descriptors.Fd(), name.c_str(), &status, 0) == 0 && IsSameFile(status, wanted) &&
               (having == Having::Open || HasLock(process + "/fdinfo/" + name));
    });
}

}  // namespace

Holder FindHolder(const std::string& path, Having having) {
    struct stat wanted {};
    std::vector<std::string> names;
    const Folder processes = Folder::Open("/proc");
    if (stat(path.c_str(), &wanted) != 0 || !processes || !processes.List(names))
        return {};
    for (const std::string& name : names) {
        pid_t pid = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), pid);
        if (error != std::errc() || end != name.data() + name.size() || pid == getpid())
            continue;
        if (HasFile("/proc/" + name, wanted, having))
            return {.pid = pid, .name = FirstLine("/proc/" + name + "/comm")};
    }
    return {};
}

std::string InWords(const Holder& holder) {
    return holder ? "process " + std::to_string(holder.pid) + " (" + holder.name + ")" : "another process";
}
