// Notification events, filters, schedules and messages.
#include <cstdlib>
#include <initializer_list>
#include <list>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/package/camera.h"
#include "platform/package/notification/group_schedule.h"
#include "platform/package/notification/home_mode_setting.h"
#include "platform/package/notification/notification_filter.h"
#include "platform/package/notification/notify_types.h"
#include "platform/package/notification/system_schedule.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"
#include "upgrader/dataaccess/column_values.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"
#include "upgrader/migrations/noti_upgrade.h"
#include "upgrader/missing_schema.h"
#include "upgrader/once.h"

namespace migrations {
namespace {

constexpr const char* kPushServiceTable = "notificationpushservice";

constexpr const char* kHomeModeScheduleFlag = "upgrade_home_mode_noti_schedule";
constexpr const char* kFailedToSetHomeModeSchedule =
    "Failed to set home mode notify schedule in setting conf.\n";

// Types 0 to 121 were the types of the build that made the event table.
constexpr int kEventTypeCount = 122;

// The digits of a word of the camera schedules since UpdateCamNotiSchedFilter.
constexpr unsigned long kCamScheduleWidth = 8;
// A width that makes all schedules together longer than this is a damaged setting.
constexpr unsigned long kMaxCamScheduleDigits = 200'000'000;

// Switches types on in the system schedule, all week.
int SwitchOnInSystemSchedule(std::initializer_list<int> types, LogSite site = LogSite::Here()) {
    VGGeneric::NotifySche schedule;
    if (schedule.Reload(false))
        return LogFailure(site, "Failed to reload vggeneric.\n");
    for (int day = 0; day < NotifySchedule::kDays; ++day)
        for (int slot = 0; slot < NotifySchedule::kSlotsPerDay; ++slot)
            for (const int type : types)
                schedule.SetNotifySchedule(day, slot, static_cast<VG_NOTIFY_TYPE>(type), true);
    if (schedule.Save())
        return LogFailure(site, "Failed to update notification schedule.\n");
    return 0;
}

std::string InsertEvent(int group, int type, int filter, int homeModeFilter) {
    return std::string("INSERT INTO ") + gszTableNotificationEvent +
           " (event_group, event_type, filter,home_mode_filter) VALUES (" + std::to_string(group) + ", " +
           std::to_string(type) + ", " + std::to_string(filter) + ", " + std::to_string(homeModeFilter) +
           ");";
}

int UpdateNotificationEventDB() {
    NotificationFilter setting;
    if (setting.Reload())
        return UPG_FAIL("Failed to reload notification filter.\n");
    const NotificationFilter::FilterMap& filters = setting.GetFilterMap();

    Rows homeMode;
    if (QuerySql(DB_SYSTEM, std::string("SELECT * FROM ") + gszTableHomeModeNotifyFilter, homeMode,
                 "Execute failed for Sql cmd: %s\n"))
        return -1;
    if (homeMode.Count() != 1 || !homeMode.Next())
        return UPG_FAIL("Failed to load homemode notify filter table\n");

    std::string batch;
    for (int number = 0; number < kEventTypeCount; ++number) {
        const auto type = static_cast<VG_NOTIFY_TYPE>(number);
        if (NotificationFilter::IsDeprecated(type))
            continue;
        const std::string key = HomeModeSetting::GetNotiTypeKey(type);
        const bool hasHomeModeFilter = !key.empty() && homeMode.Text(key.c_str());
        const auto filter = filters.find(type);
        if (filter == filters.end() && !hasHomeModeFilter)
            continue;
        batch += InsertEvent(
            NotificationFilter::GetGroupingIdByNotiType(type), number,
            filter != filters.end() ? filter->second : NotificationFilter::GetDefFilterSettingByType(type),
            hasHomeModeFilter ? homeMode.Int(key.c_str()) : 0);
    }
    batch += InsertEvent(1, 90, 1, -1);  // on purpose beside what the loop gave for type 90
    if (ExecuteSql(DB_SYSTEM, batch, "Failed to execute command %s.\n"))
        return -1;

    // The rows hold the filters now. Keys that stay behind do no harm, whereas a failure would bring this
    // migration back and its rows twice.
    (void)VGFileRemoveKeys(kSettingsConf, NotificationFilter::GetNotiFilterKeys(), false);
    return 0;
}

// The flags of a slot kept their places when the schedule was extended.
uint32_t ConvertSystemScheduleSlot(uint32_t slot) { return slot; }

std::string WidenCamSchedule(std::vector<std::string> words, unsigned long oldWidth) {
    const std::string prefix(oldWidth < kCamScheduleWidth ? kCamScheduleWidth - oldWidth : 0, 'F');
    for (std::string& word : words) {
        if (word.size() < oldWidth)
            word.insert(0, oldWidth - word.size(), '0');
        word.insert(0, prefix);
    }
    return JoinStrings(words, ",");
}

namespace work {

int ExtendSystemNotifySchedule() {
    VGGeneric::NotifySche system;
    if (system.Reload(false))
        return UPG_FAIL("Failed to reload vggeneric.\n");
    NotifySchedule schedule;
    if (schedule.LoadScheduleFromString(system.GetNotifyScheduleStrByGroup(1), ConvertSystemScheduleSlot) ||
        system.SetNotifyScheduleByGroup(1, schedule.GetStringFromSchedule()) || system.Save())
        return UPG_FAIL("Failed to extend system notification schedule.\n");
    return 0;
}

}  // namespace work

int ExtendSystemNotifySchedule() {
    return RunOnce("upgrade_extend_system_noti_schedule", kFailedToSetHomeModeSchedule,
                   work::ExtendSystemNotifySchedule);
}

// Clears the second mail address where it repeats the first.
int ClearDuplicateNotiMail(LogSite site = LogSite::Here()) {
    return ExecuteIfThere(DB_SYSTEM, "notification", {"email", "email2"},
                          "UPDATE notification SET email2 = '' WHERE email2 = email AND email2 <> '';", site);
}

}  // namespace

int NotiFilterAddRecStorageColumn() {
    constexpr const char* kColumn = "rec_storage_removed";
    if (WasSchemaMissing(DB_SYSTEM, gszTableNotificationFilter, kColumn))
        return SwitchOnInSystemSchedule({33, 34});
    // A database that could not be repaired does not tell what it lacks.
    return Guard(DB_SYSTEM, gszTableNotificationFilter, {kColumn}) < 0 ? -1 : 0;
}

// Two messengers that are no more: whatever old builds kept about them is cleared.
int DisableMsnSkypePushService() {
    if (const int found = Guard(DB_SYSTEM, kPushServiceTable); found <= 0)
        return found;
    Rows columns;
    if (QuerySql(DB_SYSTEM,
                 "SELECT '\"' || replace(name, '\"', '\"\"') || '\"' AS name,"
                 " CASE WHEN type LIKE '%INT%' OR type LIKE '%BOOL%' THEN '0' ELSE quote('') END AS value"
                 " FROM pragma_table_info('notificationpushservice')"
                 " WHERE name LIKE '%msn%' OR name LIKE '%skype%';",
                 columns))
        return -1;
    ColumnValues nothing;
    while (columns.Next())
        nothing.Add(columns.String("name"), columns.String("value"));
    return ExecuteSql(DB_SYSTEM, nothing.UpdateSql(kPushServiceTable, "1"));
}

int UpdateEnablePushService() {
    return ExecuteIfThere(
        DB_SYSTEM, kPushServiceTable, {"enable_push_service", "mobile_enable", "orva_mail_enable"},
        "UPDATE notificationpushservice"
        " SET enable_push_service = IFNULL(mobile_enable, 0) | IFNULL(orva_mail_enable, 0)"
        " WHERE enable_push_service IS NOT (IFNULL(mobile_enable, 0) | IFNULL(orva_mail_enable, 0));");
}

int DelDupNotiMail() { return ClearDuplicateNotiMail(); }

int once::UpdateNotifyScheduleForHomeModeRelated() { return SwitchOnInSystemSchedule({59, 60}); }

int UpdateSnapshotSortAndNamingRule() { return ClearDuplicateNotiMail(); }

int UpdateIntercomRexNotificationSettings() {
    NotificationFilter filter;
    if (filter.Reload())
        return UPG_FAIL("Failed to load notificationfilter.\n");
    // Also a filter that is the default is stored when the other is, and one that is not stored is absent.
    if (filter.GetFilterMap().contains(NOTIFY_INTERCOM_ACCESS))
        filter.SetFilterSettingByType(NOTIFY_INTERCOM_REX,
                                      filter.GetFilterSettingByType(NOTIFY_INTERCOM_ACCESS));
    else
        filter.RemoveFilterSettingByType(NOTIFY_INTERCOM_REX);
    // The home mode is another matter: what cannot be saved here does not keep it.
    const int saved = filter.Save();
    if (saved)
        UPG_LOG("Failed to save notification filter settings.\n");

    const std::string table = gszTableHomeModeNotifyFilter;
    Rows homeMode;
    if (QuerySql(DB_SYSTEM, "SELECT * FROM " + table, homeMode,
                 "Failed to load camdetsetting from DB. [%s]\n"))
        return -1;
    if (homeMode.Count() != 1)
        return UPG_FAIL("Wrong home mode settings.\n");
    if (!homeMode.Next())
        return UPG_FAIL("Failed to fetch home mode settings.\n");
    // NULL, no home-mode value, is taken over like any other.
    const char* access = homeMode.Text("intercom_access");
    const char* rex = homeMode.Text("intercom_rex");
    if (access && rex ? std::string_view(access) == rex : access == rex)
        return saved;
    const std::string value = access ? VGDB::QuoteEscape(access) : "NULL";
    return ExecuteSql(
               DB_SYSTEM,
               "UPDATE " + table + " SET intercom_access = " + value + ", intercom_rex = " + value + ";",
               "VGDBExecute error [%s]\n")
               ? -1
               : saved;
}

int once::UpdateNotificationEvent() {
    if (UpdateNotificationEventDB())
        return UPG_FAIL("Failed to update notification event data base\n");
    return 0;
}

int UpdateSystemNotifySchedule() {
    // The flag only spares the step before; without it the schedule is extended all the same.
    if (SetSettingConfValue(kHomeModeScheduleFlag, Bool2String(true)))
        UPG_LOG(kFailedToSetHomeModeSchedule);
    if (ExtendSystemNotifySchedule() == 0)
        return 0;
    return UPG_FAIL("Failed to extend system notification schedule.\n");
}

int once::UpdateNotificationPeopleVechileSetting() {
    const std::string table = gszTableNotificationEvent;
    const int group = NotificationFilter::GetGroupingIdByNotiType(NOTIFY_PEOPLE_VEHICLE_DETECTED);
    return ExecuteSql(DB_SYSTEM,
                      "INSERT INTO " + table +
                          " (event_group,event_type,filter,home_mode_filter) SELECT * FROM"
                          " (SELECT " +
                          std::to_string(group) +
                          ",109,1,1) AS A"
                          " WHERE NOT EXISTS (SELECT * FROM " +
                          table + " WHERE event_type = 109);",
                      "Failed to insert notification event for people / vehicle detected.\n");
}

int UpdateCamNotiSchedFilter() {
    constexpr const char* kWidthKey = "cam_noti_sched_char_num";
    char text[256];
    if (GetSettingsConfValue(kWidthKey, "0", text, sizeof text) < 0)
        return UPG_FAIL("Failed to get %s from settings.conf, skip.\n", kWidthKey);
    const unsigned long width = std::strtoul(text, nullptr, 0);
    if (width == kCamScheduleWidth)
        return 0;

    std::list<Camera> cameras;
    if (CamGetList(cameras))
        return UPG_FAIL("Failed to get camera list.\n");
    std::string batch;
    unsigned long digitsLeft = kMaxCamScheduleDigits;
    for (const Camera& camera : cameras) {
        const std::vector<std::string> words = SplitString(camera.notifySchedule, ',');
        if (words.empty())
            continue;
        if (width > digitsLeft / words.size())
            return UPG_FAIL("Wrong %s in settings.conf [%s], skip.\n", kWidthKey, text);
        digitsLeft -= width * words.size();
        batch += " UPDATE camera SET notifyschedule = " + VGDB::QuoteEscape(WidenCamSchedule(words, width)) +
                 " WHERE id = " + std::to_string(camera.id) + ";";
    }
    if (ExecuteSql(DB_SYSTEM, batch, "Failed to execute execute sql: %s.\n"))
        return -1;
    if (SetSettingConfValue(kWidthKey, StringPrintf("%lu", kCamScheduleWidth)))
        return UPG_FAIL(kFailedToSetFlag, kWidthKey);
    return 0;
}

int once::DisableNotificationMDWebhookFilter() {
    Rows webhook;
    if (QuerySql(DB_SYSTEM,
                 std::string("SELECT EXISTS (SELECT 1 FROM ") + gszTableNotificationWebhook +
                     ") AS isWebhookExist;",
                 webhook, "Failed to get notification webhook.\n"))
        return -1;
    if (webhook.Next() && webhook.Bool("isWebhookExist"))
        return 0;
    return ExecuteSql(DB_SYSTEM,
                      std::string("UPDATE ") + gszTableNotificationEvent +
                          " SET filter = filter & -33 WHERE  event_type = 5;",
                      "Failed to update notification event for motion detected.\n");
}

}  // namespace migrations

// Each type's filter is a column, named by the type's key, of the table's one row. settings.conf holds what was
// set since; a column that the repair has just made holds no filter. Filters that have gone on to the event
// table, which took their keys away, do not come back.
int NotiUpgrade::MoveFilterFromDbToConf() {
    const int moved = FindSetting("upgrade_notification_event");
    if (moved < 0)
        UPG_LOG("Failed to reload notification filter.\n");
    if (moved != 0)
        return moved < 0 ? -1 : 0;
    if (const int found = Guard(DB_SYSTEM, gszTableNotificationFilter); found <= 0)
        return found;
    Rows filters;
    if (QuerySql(DB_SYSTEM, std::string("SELECT * FROM ") + gszTableNotificationFilter + " LIMIT 1;",
                 filters))
        return -1;
    if (!filters.Next())
        return 0;
    NotificationFilter stored;
    if (stored.Reload())
        return UPG_FAIL("Failed to reload notification filter.\n");

    int result = 0;
    for (int number = 0; number < NOTIFY_TYPE_COUNT; ++number) {
        const auto type = static_cast<VG_NOTIFY_TYPE>(number);
        const std::string column = HomeModeSetting::GetNotiTypeKey(type);
        if (!filters.Text(column.c_str()) || stored.GetFilterMap().contains(type) ||
            WasSchemaMissing(DB_SYSTEM, gszTableNotificationFilter, column))
            continue;
        const std::string key = NotificationFilter::GetNotiFilterKey(type);
        if (SetSettingConfValue(key.c_str(), std::to_string(filters.Int(column.c_str()))))
            result = UPG_FAIL(kFailedToSetFlag, key.c_str());
    }
    return result;
}
