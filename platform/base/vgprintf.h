// The package log.
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
