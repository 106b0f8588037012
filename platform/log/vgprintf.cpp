#include "platform/log/vgprintf.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/host/paths.h"
#include "platform/log/library_log.h"

namespace {

std::string LocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local);
    std::string stamp = text.data();
    stamp.insert(stamp.size() - 2, ":");  // +0800 -> +08:00
    return stamp;
}

std::string FormatMessage(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

std::string FormatMessage(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    std::string message(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0)
        std::vsnprintf(message.data(), message.size() + 1, format, again);
    va_end(again);
    return message;
}

void AppendOnOneLine(std::string& line, std::string_view message) {
    if (!message.empty() && message.back() == '\n')
        message.remove_suffix(1);
    for (const char c : message) {
        if (c == '\n') {
            line += "\\n";
        } else if (c == '\r') {
            line += "\\r";
        } else if (static_cast<unsigned char>(c) < 0x20 && c != '\t') {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\x%02x", static_cast<unsigned>(c));
            line += escape.data();
        } else {
            line += c;
        }
    }
    line += '\n';
}

int OpenLog() {
    const std::string path = SysPath(kPackageLog);
    const int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
    int fd = open(path.c_str(), flags, 0640);
    if (fd < 0 && errno == ENOENT) {
        std::error_code ignored;  // the second try tells
        std::filesystem::create_directories(SysPath(kLogDir), ignored);
        fd = open(path.c_str(), flags, 0640);
    }
    return fd;
}

void WriteOnce(int fd, const std::string& line) {
    // A log that cannot take the line is no reason to stop an upgrade.
    [[maybe_unused]] const ssize_t written = write(fd, line.data(), line.size());
}

}  // namespace

void VGPrintf(int /*logType*/, int /*reserved1*/, int /*reserved2*/, const char* file, int line,
              const char* function, const char* format, va_list args) {
    std::string text = LocalTime() + ' ' + file + ':' + std::to_string(line) + " (" + function + "): ";
    AppendOnOneLine(text, FormatMessage(format, args));

    // Opened for each line: messages are few, and a rotated log is followed.
    if (const int fd = OpenLog(); fd >= 0) {
        WriteOnce(fd, text);
        close(fd);
    }
    if (isatty(STDERR_FILENO))
        WriteOnce(STDERR_FILENO, text);
}

void LibraryLog(int line, const char* function, const char* format, ...) {
    va_list args;
    va_start(args, format);
    VGPrintf(0, 0, 0, "vgupgrader", line, function, format, args);
    va_end(args);
}
