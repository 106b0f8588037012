#include "platform/base/package_log.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include "platform/base/append_file.h"
#include "platform/base/disk_error.h"
#include "platform/base/format.h"
#include "platform/base/local_time.h"
#include "platform/base/paths.h"

namespace {

constexpr size_t kMaxMessage = 2'000;  // bytes
constexpr std::string_view kEraseLine = "\r\x1b[K";

const char* g_program = "vgupgrader";
LogSink g_sink = LogSink::PackageLog;
std::string g_progressLine;

// The beginning of a text, at most that many bytes long, that ends with a whole character of UTF-8.
std::string_view CutAtCharacter(std::string_view text, size_t size) {
    if (text.size() <= size)
        return text;
    while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xc0) == 0x80)
        --size;
    return text.substr(0, size);
}

void AppendOnOneLine(std::string& line, std::string_view message) {
    if (!message.empty() && message.back() == '\n')
        message.remove_suffix(1);
    const std::string_view shown = CutAtCharacter(message, kMaxMessage);
    for (const char c : shown) {
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
    line += shown.size() < message.size() ? " …\n" : "\n";
}

bool WriteOnce(int fd, std::string_view text) {
    return write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// Opened for each line: messages are few, and a rotated log is followed.
bool AppendToLog(const std::string& line) {
    const int fd = OpenForAppend(kPackageLog, O_WRONLY);
    if (fd < 0)
        return false;
    struct stat status {};
    const bool written = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && WriteOnce(fd, line);
    close(fd);
    return written;
}

void WriteToStandardError(std::string_view text) {
    // Whoever read it may have gone, which is no reason to stop an upgrade.
    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    (void)WriteOnce(STDERR_FILENO, text);
    std::signal(SIGPIPE, handler);
}

// As much of the progress line as one line of the terminal holds.
std::string_view VisibleProgress() {
    winsize window{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &window) != 0 || window.ws_col == 0)
        return g_progressLine;
    return CutAtCharacter(g_progressLine, window.ws_col - 1U);
}

}  // namespace

void SetLogProgram(const char* program, LogSink sink) {
    g_program = program;
    g_sink = sink;
}

const char* LogProgram() { return g_program; }

void SetProgressLine(std::string line) {
    if (line == g_progressLine)
        return;
    g_progressLine = std::move(line);
    if (isatty(STDERR_FILENO))
        WriteToStandardError(std::string(kEraseLine).append(VisibleProgress()));
}

void VGPrintf(int /*logType*/, int /*reserved1*/, int /*reserved2*/, const char* file, int line,
              const char* function, const char* format, va_list args) {
    std::string text =
        LocalTime(std::time(nullptr)) + ' ' + file + ':' + std::to_string(line) + " (" + function + "): ";
    AppendOnOneLine(text, VStringPrintf(format, args));

    const bool logged = g_sink == LogSink::PackageLog && AppendToLog(text);
    if (isatty(STDERR_FILENO) && !g_progressLine.empty())
        WriteToStandardError(std::string(kEraseLine).append(text).append(VisibleProgress()));
    else if (isatty(STDERR_FILENO) || !logged)
        WriteToStandardError(text);
}

void LibraryLog(int line, const char* function, const char* format, ...) {
    va_list args;
    va_start(args, format);
    VGPrintf(0, 0, 0, g_program, line, function, format, args);
    va_end(args);
}

int LogErrno(const char* what, const std::string& path, int line, const char* function) {
    const int error = errno;
    NoteErrno(error);
    LibraryLog(line, function, "Failed to %s %s. [%s]\n", what, path.c_str(), std::strerror(error));
    errno = error;  // the caller may tell it too
    return -1;
}

std::string Reason(const std::string& path) { return path + ": " + std::strerror(errno); }
