// The upgrade of the notification settings that is not the notification library's own: which filters to take
// over depends on what the schema repair has just created, which only this program knows. It keeps the name
// that the registry and the package log have for it.
#pragma once

namespace NotiUpgrade {

// Filters leave table notificationfilter for settings.conf. Returns 0, or -1 when one could not be taken over.
int MoveFilterFromDbToConf();

}  // namespace NotiUpgrade
