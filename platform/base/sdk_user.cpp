#include "platform/base/sdk_user.h"

#include <fcntl.h>
#include <pwd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/base/once_more.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"

namespace {

constexpr std::string_view kPasswd = "/etc/passwd";

// Each returns 0, also when there is no such user, or -1 and errno.
int FindInSystem(uid_t uid, std::optional<std::string>& name) {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    while ((error = getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found)) == ERANGE ||
           error == EINTR) {
        if (error == ERANGE)
            buffer.resize(buffer.size() * 2);
    }
    if (error == 0 && found)
        name = found->pw_name;
    errno = error;
    // Some databases answer so when they know no such user.
    const bool isNone = error == ENOENT || error == ESRCH || error == EBADF || error == EPERM;
    return error == 0 || isNone ? 0 : -1;
}

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

// The + and - lines of network databases are no users.
int FindInFile(const std::string& path, uid_t uid, std::optional<std::string>& name) {
    // Not blocking, since a FIFO in the file's place would stop the upgrade for good.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return errno == ENOENT || errno == ENOTDIR ? 0 : -1;
    const std::unique_ptr<std::FILE, CloseStream> file(fdopen(fd, "r"));
    if (!file)
        return -1;
    while (const passwd* const entry = fgetpwent(file.get())) {
        if (entry->pw_uid == uid && !std::strchr("+-", entry->pw_name[0])) {
            name = entry->pw_name;
            return 0;
        }
    }
    return std::ferror(file.get()) ? -1 : 0;
}

}  // namespace

namespace SDKUser {

int UserGetByUID(unsigned int uid, ORVAUSER*& user) {
    user = nullptr;
    std::optional<std::string> name;
    const int failed = OnceMore([&] {
        const int result =
            HasSysRoot() ? FindInFile(ResolvePath(kPasswd), uid, name) : FindInSystem(uid, name);
        return result ? LogErrno("look up a user in", std::string(kPasswd), __LINE__, "UserGetByUID") : 0;
    });
    if (failed || !name)
        return failed ? -1 : 0;
    user = new ORVAUSER{std::move(*name), uid};
    return 1;
}

void UserFree(ORVAUSER*& user) {
    delete user;
    user = nullptr;
}

}  // namespace SDKUser
