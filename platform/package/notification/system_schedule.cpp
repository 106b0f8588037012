#include "platform/package/notification/system_schedule.h"

#include <algorithm>
#include <vector>

#include "platform/base/strings.h"
#include "platform/vgdb/rows.h"

namespace {

// The types that have a bit in the string of a group, in the order of their bits.
std::vector<size_t> TypesInGroupString(int group) {
    std::vector<size_t> types;
    for (int type = 0; type < NOTIFY_TYPE_COUNT && types.size() < NotifySchedule::kTypesPerWord; ++type)
        if (FindNotifyType(static_cast<VG_NOTIFY_TYPE>(type))->group == group)
            types.push_back(static_cast<size_t>(type));
    return types;
}

}  // namespace

namespace VGGeneric {

int NotifySche::Reload(bool /*reserved*/) {
    // Comparing the number in SQL leaves out rows whose event_type is no number.
    const std::string sql = StringPrintf(
        "SELECT event_type, schedule FROM notificationschedule WHERE event_type BETWEEN 0 AND %d;",
        NOTIFY_TYPE_COUNT - 1);
    Rows rows;
    if (Query(DB_SYSTEM, sql, rows))
        return -1;

    Weeks weeks;
    while (rows.Next()) {
        const std::string schedule = rows.String("schedule");
        Week& week = weeks[static_cast<size_t>(rows.Int("event_type"))];
        const size_t length = std::min(schedule.size(), week.size());
        for (size_t slot = 0; slot < length; ++slot)
            week[slot] = schedule[slot] == '1';
    }
    m_weeks = m_stored = weeks;
    return 0;
}

void NotifySche::SetNotifySchedule(int day, int slot, VG_NOTIFY_TYPE type, bool on) {
    if (!FindNotifyType(type) || day < 0 || day >= NotifySchedule::kDays || slot < 0 ||
        slot >= NotifySchedule::kSlotsPerDay)
        return;
    m_weeks[static_cast<size_t>(type)][static_cast<size_t>(day * NotifySchedule::kSlotsPerDay + slot)] = on;
}

std::string NotifySche::GetNotifyScheduleStrByGroup(int group) const {
    const std::vector<size_t> types = TypesInGroupString(group);
    NotifySchedule schedule;
    NotifySchedule::Slots& slots = schedule.GetSlots();
    for (size_t slot = 0; slot < slots.size(); ++slot)
        for (size_t bit = 0; bit < types.size(); ++bit)
            slots[slot] |= uint32_t{m_weeks[types[bit]][slot]} << bit;
    return schedule.GetStringFromSchedule();
}

int NotifySche::SetNotifyScheduleByGroup(int group, const std::string& schedule) {
    NotifySchedule loaded;
    if (loaded.LoadScheduleFromString(schedule, [](uint32_t slot) { return slot; }))
        return -1;
    const std::vector<size_t> types = TypesInGroupString(group);
    const NotifySchedule::Slots& slots = loaded.GetSlots();
    for (size_t slot = 0; slot < slots.size(); ++slot)
        for (size_t bit = 0; bit < types.size(); ++bit)
            m_weeks[types[bit]][slot] = (slots[slot] >> bit & 1) != 0;
    return 0;
}

int NotifySche::Save() {
    std::string batch;
    for (size_t type = 0; type < m_weeks.size(); ++type) {
        if (m_weeks[type] == m_stored[type])
            continue;
        std::string schedule = m_weeks[type].to_string();
        std::reverse(schedule.begin(), schedule.end());  // a bitset's text begins with its last bit
        const std::string number = std::to_string(type);
        AppendSqlCommand(batch, "UPDATE notificationschedule SET schedule = '" + schedule +
                                    "' WHERE event_type = " + number);
        AppendSqlCommand(
            batch,
            "INSERT INTO notificationschedule (event_type, schedule) SELECT " + number + ", '" + schedule +
                "' WHERE NOT EXISTS (SELECT 1 FROM notificationschedule WHERE event_type = " + number + ")");
    }
    if (!batch.empty() && VGDB::Execute(DB_SYSTEM, batch))
        return -1;
    m_stored = m_weeks;
    return 0;
}

}  // namespace VGGeneric
