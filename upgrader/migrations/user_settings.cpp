// Per-user settings files.
#include "upgrader/migrations/migrations.h"

namespace migrations {

// Not settled: permissions of the files.
int UpdateUsersettingPermission() { return 0; }

// Not settled: sort settings.
int UpdateUserSortSetting() { return 0; }

// Not settled: the resource monitor of users who are no administrators.
int UpdateNonAdminHideResourceMonitor() { return 0; }

// Not settled: preferences of the desktop applications, in files of their own.
int DivideDesktopAppPreference() { return 0; }

// Not settled: the key of the welcome tutorial.
int UpdateWelcomeTutorialKey() { return 0; }

// Not settled: the key of the change information.
int UpdateInformationChangeKey() { return 0; }

// Not settled: the default application.
int UpdateUserSettingsDefApp() { return 0; }

// Not settled: shortcuts to cameras.
int UpdateCameraShortcuts() { return 0; }

// Not settled: shortcuts of the live view and the timeline.
int UpgradeLiveViewTimeLineShortcut() { return 0; }

}  // namespace migrations
