// Alert events and live alerts.
#include <cstdint>
#include <optional>
#include <string>

#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {
namespace {

// One character an event kind, '1' for a kind that is selected.
using AlertEventFlagString = std::string;
constexpr size_t kAlertEventKinds = 84;

// The kinds of the masks' last 8 bits have got numbers of their own: bit 24 is kind 64.
AlertEventFlagString AlertMaskToFlagString(int32_t mask) {
    AlertEventFlagString flags(kAlertEventKinds, '0');
    for (size_t bit = 0; bit < 32; ++bit)
        if (mask >> bit & 1)
            flags[bit <= 23 ? bit : bit + 40] = '1';
    return flags;
}

}  // namespace

int once::UpdateCameraAlertEventType() {
    Rows cameras;
    if (QuerySql(DB_SYSTEM,
                 "select id, adv_contious_trig_event, adv_live_trig_event, alert_event from camera;",
                 cameras))
        return -1;
    std::string batch;
    while (cameras.Next()) {
        const std::optional<long long> id = cameras.Id("id");
        if (!id)
            continue;
        batch +=
            "UPDATE camera SET "
            "alert_event = 0, "
            "adv_live_trig_event = 0, "
            "adv_contious_trig_event = 0, "
            "alert_event_type = '" +
            AlertMaskToFlagString(cameras.Int("alert_event")) +
            "', "
            "adv_live_trig_event_type = '" +
            AlertMaskToFlagString(cameras.Int("adv_live_trig_event")) +
            "', "
            "adv_cont_trig_event_type = '" +
            AlertMaskToFlagString(cameras.Int("adv_contious_trig_event")) +
            "' "
            " WHERE id=" +
            std::to_string(*id) + ";";
    }
    return ExecuteSql(DB_SYSTEM, batch, "Failed to execute sql: %s.\n");
}

}  // namespace migrations
