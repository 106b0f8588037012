#include "upgrader/journal.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>

#include "platform/base/paths.h"
#include "platform/base/package_log.h"
#include "platform/files/file_io.h"

namespace {

constexpr const char* kSocket = "/run/systemd/journal/socket";
constexpr const char* kMessageId =
    "5b1f6a2e94c84d0f8a37c2d19e60b7f4";  // "an upgrade, retry or restore has ended"
constexpr int kInformation = 6, kError = 3;

}  // namespace

void SendToJournal(const JournalEntry& entry) {
    // A path may be longer than an address: the address goes by the descriptor then.
    const UniqueFd place(open(ResolvePath(kSocket).c_str(), O_PATH | O_CLOEXEC));
    const UniqueFd journal(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!place || !journal)
        return;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = "/proc/self/fd/" + std::to_string(place.Get());
    path.copy(address.sun_path, sizeof address.sun_path - 1);

    std::string message = entry.message;  // a line of the journal's protocol is a field
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::string datagram = "MESSAGE=" + message + "\nMESSAGE_ID=" + kMessageId +
                           "\nPRIORITY=" + std::to_string(entry.status == 0 ? kInformation : kError) +
                           "\nSYSLOG_IDENTIFIER=" + LogProgram() +
                           "\nVGUPGRADER_STATUS=" + std::to_string(entry.status) +
                           "\nVGUPGRADER_FAILED=" + std::to_string(entry.failed) + '\n';
    if (entry.oldBuild)
        datagram += "VGUPGRADER_OLD_BUILD=" + std::to_string(*entry.oldBuild) + '\n';
    (void)sendto(journal.Get(), datagram.data(), datagram.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                 reinterpret_cast<const sockaddr*>(&address), sizeof address);
}
