// How the platform libraries themselves write to the package log: under the name of the library function
// that knows of the failure.
#pragma once

void LibraryLog(int line, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

#define VG_LIB_LOG(...) LibraryLog(__LINE__, __func__, __VA_ARGS__)
