#include "platform/notification/home_mode_setting.h"

std::string HomeModeSetting::GetNotiTypeKey(VG_NOTIFY_TYPE type) {
    const NotifyType* known = FindNotifyType(type);
    return known ? known->key : std::string();
}
