// The system notification schedule: table notificationschedule of the main database, one row a type.
#pragma once

#include <array>
#include <bitset>
#include <string>

#include "platform/package/notification/group_schedule.h"
#include "platform/package/notification/notify_types.h"

namespace VGGeneric {

// When each type notifies: 7 days of 48 half-hour slots, each on or off. A type without a row is off all
// week; a stored schedule that is too short is off from its end on.
class NotifySche {
public:
    // Reads the table. Returns 0 on success; -1 when it cannot be read, and the schedule is then as it was.
    // The argument is reserved.
    [[nodiscard]] int Reload(bool reserved);

    // Switches one half hour of a type on or off, in the table after Save(). A day, slot or type that does
    // not exist is left out.
    void SetNotifySchedule(int day, int slot, VG_NOTIFY_TYPE type, bool on);

    // The schedules of a group's types as one string, see NotifySchedule. The string has room for the group's
    // first 32 types: a group's further types are not in it.
    std::string GetNotifyScheduleStrByGroup(int group) const;

    // Takes over a string of a group. The types that have no bit in it keep their schedule. Returns 0 on
    // success, -1 when the text is no such string (nothing is then changed).
    [[nodiscard]] int SetNotifyScheduleByGroup(int group, const std::string& schedule);

    // Writes the types whose schedule differs from what was read, together or not at all; adds the row of a
    // type that had none. Returns 0 or -1.
    [[nodiscard]] int Save();

private:
    using Week = std::bitset<NotifySchedule::kDays * NotifySchedule::kSlotsPerDay>;
    using Weeks = std::array<Week, NOTIFY_TYPE_COUNT>;  // by type

    Weeks m_weeks;
    Weeks m_stored;  // what the table holds
};

}  // namespace VGGeneric
