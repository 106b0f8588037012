// Cameras and their streams.
#include <list>

#include "platform/camera/camera.h"
#include "platform/notification/home_mode_setting.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/implement/integrate_external_profile_to_cam.h"
#include "upgrader/migrations.h"

namespace {

// The operation for every local camera; one that fails does not keep the others.
template <class Operation>
int ForLocalCameras(Operation operation, LogSite site = LogSite::Here()) {
    if (const int found = Guard(DB_SYSTEM, gszTableCamera, {"id"}, site); found <= 0)
        return found;
    std::list<Camera> cameras;
    if (GetCamLocalList(cameras)) {
        LogMessage(site, "Failed to list the local cameras\n");
        return -1;
    }
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

int CopyLiveviewModeToMobile() {
    return ExecuteSql(DB_SYSTEM, "UPDATE camera SET mobile_liveview_mode = liveview_mode;",
                      "Failed to execute sql: %s\n");
}

int IntegrateExternalProfileToCam() { return implement::IntegrateExternalProfileToCam().Run(); }

int SaveAllCamAndHomeMode() {
    std::list<Camera> cameras;
    if (VGDB::CheckTableExist(DB_SYSTEM, gszTableCamera) && CamGetList(CamFilterRule(), cameras))
        return -1;
    int result = 0;
    for (const Camera& camera : cameras) {
        if (camera.Save())
            result = -1;
    }
    return HomeModeSetting::Save() ? -1 : result;
}

int CreateMissingCamSettingsConf() {
    return ForLocalCameras([](const Camera& camera) { return camera.UpdateCamSettingsConf(); });
}

int InitOrvacamLogArchSetting() { return ForLocalCameras(Orvacam::InitOrvacamLogArchSettingIfNotExist); }

}  // namespace migrations
