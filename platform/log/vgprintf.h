// The package log.
#pragma once

#include <cstdarg>

// Appends one line to the package log, with one write:
//   <local time, ISO 8601 with zone offset> FILE:LINE (FUNCTION): MESSAGE
// A line break at the end of the message is the line's own; line breaks and other control characters
// inside it are shown as escapes, so that a message is always one line.
// When standard error is a terminal, the line goes there too. A log that cannot be opened is not an error.
//
// The first three arguments (log type and two reserved values) are 0 in every call of this package.
void VGPrintf(int logType, int reserved1, int reserved2, const char* file, int line, const char* function,
              const char* format, va_list args) __attribute__((format(printf, 7, 0)));
