// Normal-mode filters as settings.conf held them before the notification event table existed: the delivery
// methods of a type (one bit each, in decimal) under the key "noti_filter_" followed by the type's key.
#pragma once

#include <map>
#include <set>
#include <string>

#include "platform/package/notification/notify_types.h"

class NotificationFilter {
public:
    using FilterMap = std::map<VG_NOTIFY_TYPE, int>;

    // Reads the filters. Returns 0 on success, also when there is no settings.conf; -1 when it cannot be read
    // (the filters are then as they were).
    [[nodiscard]] int Reload();

    // The filters that are set. A type that settings.conf does not hold is absent.
    const FilterMap& GetFilterMap() const { return m_filters; }

    // The filter of a type, its default when none is set.
    int GetFilterSettingByType(VG_NOTIFY_TYPE type) const;

    // Sets a filter, or makes a type have none, in the settings after Save(). A number that is no type is left out.
    void SetFilterSettingByType(VG_NOTIFY_TYPE type, int filter);
    void RemoveFilterSettingByType(VG_NOTIFY_TYPE type);

    // Writes the filters that differ from what was read. Returns 0 or -1.
    [[nodiscard]] int Save();

    // Facts about a type. A number that is no type counts as deprecated, of group 0 and with default 0.
    static bool IsDeprecated(VG_NOTIFY_TYPE type);
    static int GetDefFilterSettingByType(VG_NOTIFY_TYPE type);
    static int GetGroupingIdByNotiType(VG_NOTIFY_TYPE type);

    // The settings.conf key of a type, '' for a number that is no type; those of all types.
    static std::string GetNotiFilterKey(VG_NOTIFY_TYPE type);
    static std::set<std::string> GetNotiFilterKeys();

private:
    FilterMap m_filters;
    FilterMap m_stored;  // what settings.conf holds
};
