// Mail addresses of the notifications.
#pragma once

#include "upgrader/log.h"

namespace migrations {

// Clears the second mail address where it repeats the first. Returns 0 when that is done or the table has no
// such columns; a failure is logged at the caller's place and gives -1.
int ClearDuplicateNotiMail(LogSite site = LogSite::Here());

}  // namespace migrations
