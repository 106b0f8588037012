// The notification side of home mode.
#pragma once

#include <string>

#include "platform/notification/notify_types.h"

namespace HomeModeSetting {

// The type's column in gszTableHomeModeNotifyFilter; '' for a number that is no type. A database need not
// have every column, and NULL in one means that the type has no home-mode filter.
std::string GetNotiTypeKey(VG_NOTIFY_TYPE type);

}  // namespace HomeModeSetting
