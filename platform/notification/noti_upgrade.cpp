#include "platform/notification/noti_upgrade.h"

int NotiUpgrade::UpgradeConnAndRecFailEvents() { return 0; }

int NotiUpgrade::UpgradeCamTamperingEvent() { return 0; }

int NotiUpgrade::UpgradeCamIndvDISchedule() { return 0; }

int NotiUpgrade::UpgradeCamAudioEvent() { return 0; }

int NotiUpgrade::UpgradeSnapshotLimitEvent() { return 0; }

int NotiUpgrade::ChangeNotifyKeyFromAlarmToDI() { return 0; }
