// Cameras and their streams.
#include <list>

#include "platform/camera/camera.h"
#include "platform/notification/home_mode_setting.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/implement/integrate_external_profile_to_cam.h"
#include "upgrader/migrations.h"

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

}  // namespace migrations
