#include "platform/base/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "platform/base/disk_error.h"

namespace {

constexpr int kMaxLinks = 40;  // as many as the kernel follows

const std::string& SysRoot() {
    static const std::string root = [] {
        const char* value = secure_getenv("VG_SYSROOT");
        std::string text = value ? value : "";
        while (!text.empty() && text.back() == '/')
            text.pop_back();
        return text;
    }();
    return root;
}

// Returns 1 and the target of a symbolic link; 0 for what is none, is missing or is refused by the kernel in
// any case; -1 when that cannot be told.
int ReadLink(const std::string& path, std::string& target) {
    std::array<char, PATH_MAX> buffer;
    const ssize_t size = readlink(path.c_str(), buffer.data(), buffer.size());
    if (size >= 0) {
        target.assign(buffer.data(), static_cast<size_t>(size));
        return 1;
    }
    for (const int error : {EINVAL, ENOENT, ENOTDIR, EACCES, ENAMETOOLONG})
        if (errno == error)
            return 0;
    NoteErrno(errno);
    return -1;
}

// So long that neither it nor its folder is looked up at all. Begins as a person would look for it.
std::string Unreachable(std::string_view absolutePath) {
    std::string path = SysRoot() + std::string(absolutePath) + "/cannot be followed";
    while (path.size() < PATH_MAX)
        path += "/.";
    return path.append(absolutePath.substr(absolutePath.rfind('/')));
}

bool BelongsToUs(const std::string& link) {
    struct stat status {};
    return lstat(link.c_str(), &status) == 0 && (status.st_uid == 0 || status.st_uid == geteuid());
}

enum class LastLink { Stays, IsFollowed, IsFollowedWhenOurs };

// '' for a link that is not followed although it should be.
std::string Resolve(std::string_view absolutePath, LastLink last) {
    std::string resolved;            // below the prefix and free of links
    std::string rest(absolutePath);  // still to be looked at
    for (int links = 0; !rest.empty();) {
        const size_t begin = rest.find_first_not_of('/');
        if (begin == std::string::npos)
            return SysRoot() + resolved + '/';
        const std::string name = rest.substr(begin, rest.find('/', begin) - begin);
        rest.erase(0, begin + name.size());
        if (name == ".")
            continue;
        if (name == "..") {
            resolved.resize(resolved.empty() ? 0 : resolved.rfind('/'));
            continue;
        }
        const std::string entry = resolved + '/' + name;
        std::string target;
        const bool isLast = rest.empty();
        const int isLink = last == LastLink::Stays && isLast ? 0 : ReadLink(SysRoot() + entry, target);
        if (isLink < 0 || (isLink > 0 && ++links > kMaxLinks))
            return Unreachable(absolutePath);
        if (isLink == 0) {
            resolved = entry;
            continue;
        }
        if (isLast && last == LastLink::IsFollowedWhenOurs && !BelongsToUs(SysRoot() + entry))
            return "";
        if (target.starts_with('/'))
            resolved.clear();
        rest.insert(0, target);
    }
    return SysRoot() + resolved;
}

}  // namespace

bool HasSysRoot() { return !SysRoot().empty(); }

std::string ResolvePath(std::string_view absolutePath) { return Resolve(absolutePath, LastLink::IsFollowed); }

std::string ResolveEntry(std::string_view absolutePath) { return Resolve(absolutePath, LastLink::Stays); }

int ResolveForWriting(std::string_view absolutePath, std::string& path) {
    path = Resolve(absolutePath, LastLink::IsFollowedWhenOurs);
    if (path.empty())
        errno = EPERM;
    return path.empty() ? -1 : 0;
}
