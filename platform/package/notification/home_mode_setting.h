// The notification side of home mode.
#pragma once

#include <string>

#include "platform/package/notification/notify_types.h"

namespace HomeModeSetting {

// The type's column in gszTableHomeModeNotifyFilter; '' for a number that is no type. A database need not
// have every column, and NULL in one means that the type has no home-mode filter.
std::string GetNotiTypeKey(VG_NOTIFY_TYPE type);

// Writes the home-mode setting anew, which runs the triggers of its table; every value stays as it is.
// Returns 0 on success, also when the database has no home-mode setting; -1, logged by the database library.
[[nodiscard]] int Save();

}  // namespace HomeModeSetting
