// Operation strings, the third form in which a profile keeps what it is denied: one character an operation, '1' where
// it is denied. The first 64 are the bits of the mask that came before.
#pragma once

#include <string>

namespace AdvOper {

// The length of a string. It may be longer (128 characters where it comes from the mask), never shorter.
inline constexpr int kLength = 79;

inline constexpr int kMaskBits = 64;

// This library numbers the operations beyond those of the mask; the web map is the first.
inline constexpr int kWebMap = kMaskBits;

std::string NothingDenied();

// What spectators, and new profiles of users, are denied.
std::string DefaultsDenied();

// The given string, continued from its end with the defaults.
std::string ContinueWithDefaults(const std::string& operations);

}  // namespace AdvOper
