// Recordings and where they are kept.
#include "platform/package/counts.h"
#include "upgrader/implement/integrate_external_pre_post_rec_time_to_cam.h"
#include "upgrader/log.h"
#include "upgrader/migrations.h"

namespace migrations {

int RecountRecordingAndLog() {
    const int recordings = RecordingCount::Recount();
    if (recordings < 0)
        UPG_LOG("Failed to count the recordings anew\n");
    const int logs = LogCount::Recount();
    if (logs < 0)
        UPG_LOG("Failed to count the log entries anew\n");
    return recordings < 0 || logs < 0 ? -1 : 0;
}

int once::IntegratePrePostRecTimeOnce() {
    if (implement::IntegrateExternalPrePostRecTimeToCam().Run() == 0)
        return 0;
    return UPG_FAIL("Failed to integrate the recording times of the analytics tasks.\n");
}

}  // namespace migrations
