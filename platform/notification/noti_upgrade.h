// Upgrades of the notification settings that the registry calls. What each converts is not settled; each
// returns 0. The one that is settled, MoveFilterFromDbToConf, asks what the schema repair has created, and
// stands with the migrations of the program.
#pragma once

namespace NotiUpgrade {

int UpgradeConnAndRecFailEvents();
int UpgradeCamTamperingEvent();
int UpgradeCamIndvDISchedule();
int UpgradeCamAudioEvent();
int UpgradeSnapshotLimitEvent();
int ChangeNotifyKeyFromAlarmToDI();

}  // namespace NotiUpgrade
