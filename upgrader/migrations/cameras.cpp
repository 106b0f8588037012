// Cameras and their streams.
#include "platform/package/camera.h"
#include "platform/package/notification/home_mode_setting.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/implement/integrate_external_profile_to_cam.h"
#include "upgrader/migrations.h"

namespace migrations {

int FillMobileStmByLiveviewStm() {
    return ExecuteIfThere(DB_SYSTEM, gszTableCamera, {"mobile_resolution", "live_resolution"},
                          "UPDATE camera SET mobile_resolution = live_resolution"
                          " WHERE IFNULL(mobile_resolution, '') = '' AND live_resolution <> '';");
}

int InsertCamDetSettingTable() {
    if (const int found = Guard(DB_SYSTEM, gszTableCamera, {"id"}); found <= 0)
        return found;
    return ExecuteIfThere(
        DB_SYSTEM, "camdetsetting", {"camera_id"},
        "INSERT INTO camdetsetting (camera_id) SELECT DISTINCT id FROM camera"
        " WHERE id NOT IN (SELECT camera_id FROM camdetsetting WHERE camera_id IS NOT NULL);");
}

int CopyLiveviewModeToMobile() {
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE camera SET mobile_liveview_mode = liveview_mode"
                      " WHERE mobile_liveview_mode IS NOT liveview_mode;");
}

int IntegrateExternalProfileToCam() {
    if (implement::IntegrateExternalProfileToCam().Run() == 0)
        return 0;
    return UPG_FAIL("Failed to integrate the external stream profiles.\n");
}

int SaveAllCamAndHomeMode() {
    return LogFailedSteps({{CamSaveAll(), "Failed to save the cameras.\n"},
                           {HomeModeSetting::Save(), "Failed to save the home mode.\n"}});
}

}  // namespace migrations
