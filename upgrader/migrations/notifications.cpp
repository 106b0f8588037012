// Notification events, filters, schedules and messages.
#include "upgrader/migrations/migrations.h"

namespace migrations {

int NotiFilterAddRecStorageColumn() { return 0; }

// Not settled: serial number of this device at the push service.
int AddDsSerialForPushService() { return 0; }

// Not settled: table notificationpushservice: push by two retired messengers.
int DisableMsnSkypePushService() { return 0; }

// Not settled: settings of two retired messengers.
int RemoveSkypeMsn() { return 0; }

// Not settled: notification settings and the folder @VGUserPhoto.
int UpdateNotifiSettings() { return 0; }

int UpdateEnablePushService() { return 0; }

// Not settled: the retired push-service switch.
int RemoveEnablePushService() { return 0; }

int SyncHosNotifyOnce() { return 0; }

int DelDupNotiMail() { return 0; }

// Not settled: notification variables of variable.conf and the settings key vg_pkg_name.
int MoveNotiVarsToDb() { return 0; }

// Not settled: table notificationadvance: interval of compact messages.
int UpdateCompactMsgInterval() { return 0; }

int UpdateNotifyScheduleForHomeModeRelated() { return 0; }

// Not settled: schedule key arch_file_complete, renamed to arch_daily_archived_recordings.
int UpdateArchivingDailyReportSchedule() { return 0; }

int UpdateIntercomRexNotificationSettings() { return 0; }

// Not settled: company name of the host's notifications.
int SetHosNotifiyCompanyNameToConf() { return 0; }

int UpdateNotificationEvent() { return 0; }

int UpdateSystemNotifySchedule() { return 0; }

// Not settled: recording-server ids of home-mode events.
int UpdateServerIdOfHomeModeEvent() { return 0; }

// Not settled: files of customised messages under @VGData/mails.
int UpdateCustomNotificationMsgPath() { return 0; }

// Not settled: table notification: mail addresses.
int MergeNotificationMailToList() { return 0; }

// Not settled: the host's notification settings, taken over by the package.
int SyncHosNotifySettingsToVgs() { return 0; }

// Not settled: customised messages under @VGData/mails: names of recording-server parameters.
int RenameNotificationParamsSlaveDS() { return 0; }

int UpdateNotificationPeopleVechileSetting() { return 0; }

// Not settled: table notificationpushservice: a mail provider that is no longer offered.
int RemoveNotificationYahooServiceProviderOption() { return 0; }

// Not settled: table notificationpushservice.
int ChangeDefaultBookmarkArchiveNumLimit() { return 0; }

int UpdateCamNotiSchedFilter() { return 0; }

int DisableNotificationMDWebhookFilter() { return 0; }

}  // namespace migrations
