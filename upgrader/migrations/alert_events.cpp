// Alert events and live alerts.
#include <cstdint>
#include <string>

#include "upgrader/dataaccess/query_result.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/once.h"

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

namespace once {

int UpdateCameraAlertEventType() {
    QueryResult cameras;
    if (QuerySql(DB_SYSTEM,
                 "select id, adv_contious_trig_event, adv_live_trig_event, alert_event from camera;", cameras,
                 "Failed to execute sql: %s\n"))
        return -1;
    std::string batch;
    while (cameras.Next())
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
            std::to_string(cameras.Int64("id")) + ";";
    if (batch.empty())
        return 0;
    return ExecuteSql(DB_SYSTEM, batch, "Failed to execute sql: %s.\n");
}

}  // namespace once
}  // namespace

// Not settled: tables layoutcamera and camera: alert settings.
int UpdateCamAlertSetting() { return 0; }

// Not settled: tables analyticsEvent and alertevent.
int MoveAnalyticsEvent2AlertEvent() { return 0; }

// Not settled: beep of analytics alerts.
int UpdateAnalyticsBeep2AlertBeep() { return 0; }

// Not settled: settings keys live_alert_frame_type and live_alert_frame_flash.
int UpdateLiveAlertFrameType() { return 0; }

// Not settled: table alertevent: update sequence.
int UpdateAlertEvtUpdSeq() { return 0; }

// Not settled: live trigger events of advanced recording.
int ChangeAdvRecLiveTrigEvtToAlertEvt() { return 0; }

// Not settled: table camera, column alert_di.
int UpdateAlertDIByAlertEvent() { return 0; }

int UpdateCameraAlertEventType() {
    return RunOnce("upgrade_camera_alert_event_type",
                   "Failed to set update camera event type in setting conf.\n",
                   once::UpdateCameraAlertEventType);
}

// Not settled: table alertevent: types of recording events.
int UpdateRecAlertEventType() {
    return RunOnce("upgrade_rec_alert_event_type", "Failed to set Update rec event type in setting conf.\n",
                   NotSettled);
}

// Not settled: table camera: events that raise an alert.
int RaiseAlertActionInCamCheckedAlertEvent() { return 0; }

}  // namespace migrations
