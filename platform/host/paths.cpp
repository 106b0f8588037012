#include "platform/host/paths.h"

#include <cstdlib>

namespace {

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

}  // namespace

bool HasSysRoot() { return !SysRoot().empty(); }

std::string SysPath(std::string_view absolutePath) { return SysRoot() + std::string(absolutePath); }
