#include "platform/files/resolve_path.h"

#include <filesystem>
#include <list>
#include <system_error>

#include "platform/host/paths.h"

namespace fs = std::filesystem;

namespace {

// As many as the kernel follows; beyond it a link is left to the kernel to refuse.
constexpr int kMaxLinks = 40;

void PutBefore(std::list<fs::path>& rest, const fs::path& path) {
    const fs::path parts = path.relative_path();
    rest.insert(rest.begin(), parts.begin(), parts.end());
}

}  // namespace

std::string ResolvePath(std::string_view absolutePath) {
    if (!HasSysRoot())
        return SysPath(absolutePath);

    std::list<fs::path> rest;
    PutBefore(rest, absolutePath);
    fs::path resolved = "/";
    for (int links = 0; rest.size() > 1;) {
        const fs::path name = rest.front();
        rest.pop_front();
        if (name.empty() || name == ".")
            continue;
        if (name == "..") {
            resolved = resolved.parent_path();  // of the root: the root
            continue;
        }
        std::error_code notALink;
        const fs::path target = fs::read_symlink(SysPath((resolved / name).native()), notALink);
        if (notALink || ++links > kMaxLinks) {
            resolved /= name;
            continue;
        }
        if (target.is_absolute())
            resolved = "/";
        PutBefore(rest, target);
    }
    if (!rest.empty())
        resolved /= rest.front();
    return SysPath(resolved.native());
}
