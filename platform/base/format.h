// printf into a string, for the libraries that wrap it.
#pragma once

#include <cstdarg>
#include <string>

std::string VStringPrintf(const char* format, va_list args) __attribute__((format(printf, 1, 0)));
