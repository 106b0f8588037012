#include "platform/package/notification/notify_types.h"

#include <array>

namespace {

using NotifyTypeTable = std::array<NotifyType, NOTIFY_TYPE_COUNT>;

// One row a type, by number. A type that is not listed has a neutral row: a key made of its number, a place
// among the system's notifications, delivery by the first method.
NotifyTypeTable MakeTable() {
    NotifyTypeTable table;
    for (size_t type = 0; type < table.size(); ++type)
        table[type] = {"notify_type_" + std::to_string(type), NOTIFY_GROUP_SYSTEM, 1, false};

    table[NOTIFY_MOTION_DETECTED] = {"motion_detected", NOTIFY_GROUP_CAMERA, 1, false};
    table[NOTIFY_INTERCOM_ACCESS] = {"intercom_access", NOTIFY_GROUP_ACCESS_CONTROL, 1, false};
    table[NOTIFY_INTERCOM_REX] = {"intercom_rex", NOTIFY_GROUP_ACCESS_CONTROL, 1, false};
    table[NOTIFY_PEOPLE_VEHICLE_DETECTED] = {"people_vehicle_detected", NOTIFY_GROUP_CAMERA, 1, false};
    return table;
}

}  // namespace

const NotifyType* FindNotifyType(VG_NOTIFY_TYPE type) {
    static const NotifyTypeTable table = MakeTable();
    return type >= 0 && type < NOTIFY_TYPE_COUNT ? &table[static_cast<size_t>(type)] : nullptr;
}
