#include "platform/package/notification/notification_filter.h"

#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"

int NotificationFilter::Reload() {
    FilterMap filters;
    for (int number = 0; number < NOTIFY_TYPE_COUNT; ++number) {
        const auto type = static_cast<VG_NOTIFY_TYPE>(number);
        std::string value;
        const int found = VGFileGetVal(kSettingsConf, GetNotiFilterKey(type).c_str(), value);
        if (found < 0)
            return -1;
        if (found > 0)
            filters[type] = String2Int(value.c_str());
    }
    m_filters = m_stored = filters;
    return 0;
}

int NotificationFilter::GetFilterSettingByType(VG_NOTIFY_TYPE type) const {
    const auto filter = m_filters.find(type);
    return filter != m_filters.end() ? filter->second : GetDefFilterSettingByType(type);
}

void NotificationFilter::SetFilterSettingByType(VG_NOTIFY_TYPE type, int filter) {
    if (FindNotifyType(type))
        m_filters[type] = filter;
}

void NotificationFilter::RemoveFilterSettingByType(VG_NOTIFY_TYPE type) { m_filters.erase(type); }

int NotificationFilter::Save() {
    for (const auto& [type, filter] : m_filters) {
        const auto stored = m_stored.find(type);
        if (stored != m_stored.end() && stored->second == filter)
            continue;
        if (SetSettingConfValue(GetNotiFilterKey(type).c_str(), std::to_string(filter)))
            return -1;
        m_stored[type] = filter;
    }
    std::set<std::string> removed;
    for (const auto& [type, filter] : m_stored)
        if (!m_filters.contains(type))
            removed.insert(GetNotiFilterKey(type));
    if (VGFileRemoveKeys(kSettingsConf, removed))
        return -1;
    m_stored = m_filters;
    return 0;
}

bool NotificationFilter::IsDeprecated(VG_NOTIFY_TYPE type) {
    const NotifyType* known = FindNotifyType(type);
    return !known || known->deprecated;
}

int NotificationFilter::GetDefFilterSettingByType(VG_NOTIFY_TYPE type) {
    const NotifyType* known = FindNotifyType(type);
    return known ? known->defaultFilter : 0;
}

int NotificationFilter::GetGroupingIdByNotiType(VG_NOTIFY_TYPE type) {
    const NotifyType* known = FindNotifyType(type);
    return known ? known->group : 0;
}

std::string NotificationFilter::GetNotiFilterKey(VG_NOTIFY_TYPE type) {
    const NotifyType* known = FindNotifyType(type);
    return known ? "noti_filter_" + known->key : std::string();
}

std::set<std::string> NotificationFilter::GetNotiFilterKeys() {
    std::set<std::string> keys;
    for (int type = 0; type < NOTIFY_TYPE_COUNT; ++type)
        keys.insert(GetNotiFilterKey(static_cast<VG_NOTIFY_TYPE>(type)));
    return keys;
}
