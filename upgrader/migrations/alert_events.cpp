// Alert events and live alerts.
#include "upgrader/migrations/migrations.h"

namespace migrations {

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

int UpdateCameraAlertEventType() { return 0; }

int UpdateRecAlertEventType() { return 0; }

// Not settled: table camera: events that raise an alert.
int RaiseAlertActionInCamCheckedAlertEvent() { return 0; }

}  // namespace migrations
