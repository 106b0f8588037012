// The user that the package runs as.
#pragma once

#include <sys/types.h>

struct Owner {
    uid_t user = 0;
    gid_t group = 0;
};

// Gives the owner and group of the package's target folder, behind any links. Returns 1; 0 when the folder is
// root's or there is none: the package has no user then; -1, with errno, when that cannot be told.
[[nodiscard]] int FindPackageUser(Owner& owner);
