// The notification types: what the package can notify of.
#pragma once

#include <string>

// The number of a type, as tables and settings hold it: 0 to NOTIFY_TYPE_COUNT - 1. Only those that code has
// to tell apart have a name here.
enum VG_NOTIFY_TYPE : int {
    NOTIFY_MOTION_DETECTED = 5,
    NOTIFY_INTERCOM_ACCESS = 62,
    NOTIFY_INTERCOM_REX = 70,  // request to exit
    NOTIFY_PEOPLE_VEHICLE_DETECTED = 109,
};
inline constexpr int NOTIFY_TYPE_COUNT = 122;

enum NOTIFY_GROUP : int {
    NOTIFY_GROUP_SYSTEM = 1,
    NOTIFY_GROUP_CAMERA = 2,
    NOTIFY_GROUP_ACCESS_CONTROL = 3,
};

struct NotifyType {
    std::string key;  // the type's name in columns and settings keys
    NOTIFY_GROUP group;
    int defaultFilter;  // delivery methods, one bit each
    bool deprecated;
};

// What is known of a type; null for a number that is no type.
const NotifyType* FindNotifyType(VG_NOTIFY_TYPE type);
