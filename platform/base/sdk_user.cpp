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

#include "platform/base/paths.h"

namespace {

constexpr std::string_view kPasswd = "/etc/passwd";

std::optional<std::string> NameInSystem(uid_t uid) {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    while ((error = getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found)) == ERANGE ||
           error == EINTR) {
        if (error == ERANGE)
            buffer.resize(buffer.size() * 2);
    }
    if (error != 0 || !found)
        return std::nullopt;
    return found->pw_name;
}

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

// The + and - lines of network databases are no users.
std::optional<std::string> NameInFile(const std::string& path, uid_t uid) {
    // Not blocking, since a FIFO in the file's place would stop the upgrade for good.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0)
        return std::nullopt;
    const std::unique_ptr<std::FILE, CloseStream> file(fdopen(fd, "r"));
    while (const passwd* const entry = file ? fgetpwent(file.get()) : nullptr)
        if (entry->pw_uid == uid && !std::strchr("+-", entry->pw_name[0]))
            return entry->pw_name;
    return std::nullopt;
}

}  // namespace

namespace SDKUser {

int UserGetByUID(unsigned int uid, ORVAUSER*& user) {
    user = nullptr;
    std::optional<std::string> name =
        HasSysRoot() ? NameInFile(ResolvePath(kPasswd), uid) : NameInSystem(uid);
    if (!name)
        return -1;
    user = new ORVAUSER{std::move(*name), uid};
    return 0;
}

void UserFree(ORVAUSER*& user) {
    delete user;
    user = nullptr;
}

}  // namespace SDKUser
