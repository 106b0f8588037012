// How the platform libraries themselves write to the package log: under the name of the library function
// that knows of the failure.
#pragma once

#include <string>

void LibraryLog(int line, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// A call of the system that has failed, with errno: "Failed to WHAT PATH. [REASON]", at the caller's place. Notes it
// where it may pass (see disk_error.h). Returns -1; errno stays.
int LogErrno(const char* what, const std::string& path, int line = __builtin_LINE(),
             const char* function = __builtin_FUNCTION());

#define VG_LIB_LOG(...) LibraryLog(__LINE__, __func__, __VA_ARGS__)
