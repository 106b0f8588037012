// Users of the host.
#pragma once

#include <string>

struct ORVAUSER {
    std::string name;
    unsigned int uid = 0;
};

namespace SDKUser {

// Looks a user up in the host's user database; under the prefix of VG_SYSROOT, in that tree's /etc/passwd.
// Returns 1 and a record that the caller gives to UserFree; 0 and null when there is no such user; -1 (logged) and null
// when the database cannot be read.
[[nodiscard]] int UserGetByUID(unsigned int uid, ORVAUSER*& user);

// Frees the record and sets the pointer to null. Safe to call with null.
void UserFree(ORVAUSER*& user);

}  // namespace SDKUser
