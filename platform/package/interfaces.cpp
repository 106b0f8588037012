#include "platform/package/interfaces.h"

int ActRuleUpgrade::MovePatrolScheToActRule() { return 0; }
int ActRuleUpgrade::UpdateActRuleMultiActId() { return 0; }

int AxisAuthProfile::UpgradeAuthProfileDB() { return 0; }

int NotiUpgrade::UpgradeConnAndRecFailEvents() { return 0; }
int NotiUpgrade::UpgradeCamTamperingEvent() { return 0; }
int NotiUpgrade::UpgradeCamIndvDISchedule() { return 0; }
int NotiUpgrade::UpgradeCamAudioEvent() { return 0; }
int NotiUpgrade::UpgradeSnapshotLimitEvent() { return 0; }
int NotiUpgrade::ChangeNotifyKeyFromAlarmToDI() { return 0; }

int InsertDefAudioPattern() { return 0; }
int UpdateDefRecShare() { return 0; }
int ClearInvalidCamIdInSnapshotTable() { return 0; }

std::string GetAdvLogInsertSql() { return {}; }
std::string GetAbandonAdvLogDelSql() { return {}; }

int ChangeServiceStatus(int /*service*/, int /*action*/) { return 0; }
