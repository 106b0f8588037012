// Operations of the package's libraries that migrations call and whose work is not settled: each does nothing and
// returns 0, or an empty text. They are part of the package's interface; a body here is all that a settled one needs.
#pragma once

#include <string>

namespace ActRuleUpgrade {

int MovePatrolScheToActRule();  // patrol schedules become action rules
int UpdateActRuleMultiActId();  // rules with several action ids

}  // namespace ActRuleUpgrade

namespace AxisAuthProfile {

int UpgradeAuthProfileDB();  // authentication profiles of doors

}  // namespace AxisAuthProfile

// Notification settings. The settled one of this name, MoveFilterFromDbToConf, asks what the schema repair has created,
// and stands with the migrations of the program.
namespace NotiUpgrade {

int UpgradeConnAndRecFailEvents();
int UpgradeCamTamperingEvent();
int UpgradeCamIndvDISchedule();
int UpgradeCamAudioEvent();
int UpgradeSnapshotLimitEvent();
int ChangeNotifyKeyFromAlarmToDI();

}  // namespace NotiUpgrade

int InsertDefAudioPattern();             // the default audio patterns
int UpdateDefRecShare();                 // the default recording share
int ClearInvalidCamIdInSnapshotTable();  // snapshots of cameras that do not exist

// The statements that add the advanced log types of this build, and that delete those that no build writes any more.
std::string GetAdvLogInsertSql();
std::string GetAbandonAdvLogDelSql();

// The number of the service that runs the add-ons, and the one action on a service that the upgrade asks for.
inline constexpr int kAddOnService = 17;
inline constexpr int kServiceAction1 = 1;

int ChangeServiceStatus(int service, int action);
