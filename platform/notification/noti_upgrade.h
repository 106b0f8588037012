// Upgrades of the notification settings that the registry calls. What each converts is not settled; each
// returns 0.
#pragma once

namespace NotiUpgrade {

int MoveFilterFromDbToConf();
int UpgradeConnAndRecFailEvents();
int UpgradeCamTamperingEvent();
int UpgradeCamIndvDISchedule();
int UpgradeCamAudioEvent();
int UpgradeSnapshotLimitEvent();
int ChangeNotifyKeyFromAlarmToDI();

}  // namespace NotiUpgrade
