#include "upgrader/marker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>

#include "platform/base/package_log.h"
#include "platform/base/once_more.h"
#include "platform/base/paths.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"

namespace {

// Digits and a line end.
bool Parse(const std::string& text, uint32_t& build) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), build);
    return error == std::errc() && std::string_view(end) == "\n";
}

// Whether it is a plain file that only this program can have written.
bool IsOurs(const struct stat& status) {
    return S_ISREG(status.st_mode) && (status.st_mode & 07777) == 0600 &&
           (status.st_uid == 0 || status.st_uid == geteuid());
}

}  // namespace

int ReadMarker(uint32_t& build, std::string& why) {
    const std::string path = ResolveEntry(kUpgradeDue);
    std::string text;
    int found = -1;
    (void)OnceMore([&] {
        struct stat status {};
        const UniqueFd file(open(path.c_str(), kReadFlags | O_NOFOLLOW));
        found = !file && (errno == ENOENT || errno == ENOTDIR) ? 0 : -1;
        why = path + ": " + std::strerror(errno);
        if (!file) {
            NoteErrno(errno);
            return found;
        }
        if (fstat(file.Get(), &status) != 0 || !IsOurs(status)) {
            why = path + ": not a marker of this program, to be removed by a person who knows";
            return -1;
        }
        if (ReadWholeFile(file.Get(), path, text)) {
            why = path + ": it cannot be read";
            return -1;
        }
        found = Parse(text, build) ? 1 : -1;
        why = path + ": not a marker of this program, to be removed by a person who knows";
        return found;
    });
    return found;
}

int WriteMarker(uint32_t build) {
    return ReplaceFile(ResolveEntry(kUpgradeDue), std::to_string(build) + '\n', 0600);
}

void RemoveMarker() {
    const std::string path = ResolveEntry(kUpgradeDue);
    if (unlink(path.c_str()) != 0) {
        if (errno != ENOENT && errno != ENOTDIR)
            (void)LogErrno("remove", path);
        return;
    }
    const UniqueFd folder(open(std::filesystem::path(path).parent_path().c_str(), kReadFlags | O_DIRECTORY));
    if (!folder || !Flush(folder.Get()))
        (void)LogErrno("flush the folder of", path);
}
