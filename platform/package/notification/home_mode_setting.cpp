#include "platform/package/notification/home_mode_setting.h"

#include "platform/vgdb/vgdb.h"

std::string HomeModeSetting::GetNotiTypeKey(VG_NOTIFY_TYPE type) {
    const NotifyType* known = FindNotifyType(type);
    return known ? known->key : std::string();
}

int HomeModeSetting::Save() {
    if (const int found = VGDB::FindColumn(DB_SYSTEM, "homemodesetting", "mode_on"); found <= 0)
        return found;
    return VGDB::Execute(DB_SYSTEM, "UPDATE homemodesetting SET mode_on = mode_on;") ? -1 : 0;
}
