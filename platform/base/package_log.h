// The package log: its lines, and how the platform libraries write to it, under the name of the library function that
// knows of a failure.
#pragma once

#include <cstdarg>
#include <string>

enum class LogSink { PackageLog, StandardError };

// Which program this is, and where its lines go: "vgupgrader" and the package log unless it says otherwise.
void SetLogProgram(const char* program, LogSink sink);
const char* LogProgram();

// Appends one line to the package log, with one write:
//   <local time, ISO 8601 with zone offset> FILE:LINE (FUNCTION): MESSAGE
// A line break at the end of the message is the line's own; line breaks and other control characters inside it
// are shown as escapes, so that a message is always one line. A message of more than 2,000 bytes is cut.
// When standard error is a terminal, the line goes there too; when the log cannot take it, also to what is
// none. Nothing in the place of the log (a pipe, a device, a folder) stops the program.
//
// The first three arguments (log type and two reserved values) are 0 in every call of this package.
void VGPrintf(int logType, int reserved1, int reserved2, const char* file, int line, const char* function,
              const char* format, va_list args) __attribute__((format(printf, 7, 0)));

// Shows one line on standard error where that is a terminal, in place of the one that was shown before; ""
// removes it. Lines of the log appear above it.
void SetProgressLine(std::string line);

void LibraryLog(int line, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// A call of the system that has failed, with errno: "Failed to WHAT PATH. [REASON]", at the caller's place. Notes it
// where it may pass (see disk_error.h). Returns -1; errno stays.
int LogErrno(const char* what, const std::string& path, int line = __builtin_LINE(),
             const char* function = __builtin_FUNCTION());

// "PATH: REASON" of errno.
std::string Reason(const std::string& path);

#define VG_LIB_LOG(...) LibraryLog(__LINE__, __func__, __VA_ARGS__)
