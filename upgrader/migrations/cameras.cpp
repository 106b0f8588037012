// Cameras and their streams.
#include <list>
#include <utility>

#include "platform/package/camera.h"
#include "platform/package/notification/home_mode_setting.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/implement/integrate_external_profile_to_cam.h"
#include "upgrader/migrations.h"

namespace {

constexpr const char* kFailedToExecute = "Failed to execute sql: %s\n";

// The operation for every local camera; one that fails does not keep the others.
template <class Operation>
int ForLocalCameras(Operation operation, LogSite site = LogSite::Here()) {
    if (const int found = Guard(DB_SYSTEM, gszTableCamera, {"id"}, site); found <= 0)
        return found;
    std::list<Camera> cameras;
    if (GetCamLocalList(cameras))
        return LogFailure(site, "Failed to list the local cameras\n");
    int result = 0;
    for (const Camera& camera : cameras) {
        if (operation(camera)) {
            LogMessage(site, "Failed for camera %d\n", camera.GetId());
            result = -1;
        }
    }
    return result;
}

}  // namespace

namespace migrations {

int FillMobileStmByLiveviewStm() {
    if (const int found = Guard(DB_SYSTEM, gszTableCamera, {"mobile_resolution", "live_resolution"});
        found <= 0)
        return found;
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE camera SET mobile_resolution = live_resolution"
                      " WHERE IFNULL(mobile_resolution, '') = '' AND live_resolution <> '';",
                      kFailedToExecute);
}

int InsertCamDetSettingTable() {
    for (const auto& [table, column] :
         {std::pair(gszTableCamera, "id"), std::pair("camdetsetting", "camera_id")})
        if (const int found = Guard(DB_SYSTEM, table, {column}); found <= 0)
            return found;
    return ExecuteSql(DB_SYSTEM,
                      "INSERT INTO camdetsetting (camera_id) SELECT DISTINCT id FROM camera"
                      " WHERE id NOT IN (SELECT camera_id FROM camdetsetting WHERE camera_id IS NOT NULL);",
                      kFailedToExecute);
}

int CopyLiveviewModeToMobile() {
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE camera SET mobile_liveview_mode = liveview_mode"
                      " WHERE mobile_liveview_mode IS NOT liveview_mode;",
                      kFailedToExecute);
}

int IntegrateExternalProfileToCam() {
    if (implement::IntegrateExternalProfileToCam().Run() == 0)
        return 0;
    return UPG_FAIL("Failed to integrate the external stream profiles.\n");
}

int SaveAllCamAndHomeMode() {
    // One does not keep the other.
    const int cameras = CamSaveAll();
    if (cameras < 0)
        UPG_LOG("Failed to save the cameras.\n");
    const int homeMode = HomeModeSetting::Save();
    if (homeMode < 0)
        UPG_LOG("Failed to save the home mode.\n");
    return cameras < 0 || homeMode < 0 ? -1 : 0;
}

int CreateMissingCamSettingsConf() {
    return ForLocalCameras([](const Camera& camera) { return camera.UpdateCamSettingsConf(); });
}

int InitOrvacamLogArchSetting() { return ForLocalCameras(Orvacam::InitOrvacamLogArchSettingIfNotExist); }

}  // namespace migrations
