// The sums of files, also while they are copied.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/files/copy.h"

// Told of the bytes that have been dealt with since the last call.
using Progress = std::function<void(uint64_t bytes)>;

// CopyFile, with the sum of what the copy was given.
UniqueFd CopyWithSum(int from, const Folder& to, const std::string& name, const Progress& progress,
                     std::string& sum);

// The sum of an open file from its beginning; '', with errno, on failure.
std::string SumOfFile(int fd, const Progress& progress);
