// Privilege profiles (rows of table privilegeprofile): their levels, the default ones, and their operation strings.
// Everything that a profile stores is a denial: what no list and no string names is allowed.
#pragma once

#include <cstddef>
#include <string>

// Values of column privilege.
enum PRIV_LEVEL : long long {
    PRIV_LEVEL_NONE = -2,  // every object and operation denied
    PRIV_LEVEL_ADMIN = 0,  // every operation allowed
};

namespace PrivProfile {

inline constexpr long long kAllObjManagerId = 1;
inline constexpr long long kAllObjSpectatorId = 2;

// Operation strings, the third form in which a profile keeps what it is denied: one character an operation, '1' where
// it is denied. The first 64 are the bits of the mask that came before. A string may be longer (128 characters where
// it comes from the mask, or denies everything), never shorter.
inline constexpr size_t kAdvOperLength = 79;
inline constexpr size_t kLongAdvOperLength = 128;
inline constexpr size_t kAdvOperMaskBits = 64;

// The string of the default manager and of admins, who are denied nothing.
std::string GetAllObjManagerAdvOper();

// The string of the default spectator.
std::string GetAllObjViewerAdvOper();

// The string of a user's profile: the given one, continued from its end with what spectators are denied.
std::string GetDefaultUserAdvOper(const std::string& advOper);

}  // namespace PrivProfile
