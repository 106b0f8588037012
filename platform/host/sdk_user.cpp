#include "platform/host/sdk_user.h"

#include <pwd.h>

#include <cerrno>
#include <charconv>
#include <fstream>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/host/paths.h"

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

// The name in a line NAME:PASSWORD:UID:... of that uid. Comments and the + and - lines of network databases
// are no users.
std::optional<std::string> NameInLine(std::string_view line, uid_t uid) {
    if (line.empty() || std::string_view(":#+-").find(line.front()) != std::string_view::npos)
        return std::nullopt;
    const size_t nameEnd = line.find(':');
    if (nameEnd == std::string_view::npos)
        return std::nullopt;
    const size_t passwordEnd = line.find(':', nameEnd + 1);
    if (passwordEnd == std::string_view::npos)
        return std::nullopt;
    const std::string_view field =
        line.substr(passwordEnd + 1, line.find(':', passwordEnd + 1) - passwordEnd - 1);
    uid_t value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    if (error != std::errc() || end != field.data() + field.size() || value != uid)
        return std::nullopt;
    return std::string(line.substr(0, nameEnd));
}

std::optional<std::string> NameInFile(const std::string& path, uid_t uid) {
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);)
        if (std::optional<std::string> name = NameInLine(line, uid))
            return name;
    return std::nullopt;
}

}  // namespace

namespace SDKUser {

int UserGetByUID(unsigned int uid, ORVAUSER*& user) {
    user = nullptr;
    std::optional<std::string> name = HasSysRoot() ? NameInFile(SysPath(kPasswd), uid) : NameInSystem(uid);
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
