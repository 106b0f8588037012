// Recordings and where they are kept.
#include "platform/package/counts.h"
#include "upgrader/implement/integrate_external_pre_post_rec_time_to_cam.h"
#include "upgrader/log.h"
#include "upgrader/migrations.h"

namespace migrations {

int RecountRecordingAndLog() {
    return LogFailedSteps({{RecordingCount::Recount(), "Failed to count the recordings anew\n"},
                           {LogCount::Recount(), "Failed to count the log entries anew\n"}});
}

int once::IntegratePrePostRecTimeOnce() {
    if (implement::IntegrateExternalPrePostRecTimeToCam().Run() == 0)
        return 0;
    return UPG_FAIL("Failed to integrate the recording times of the analytics tasks.\n");
}

}  // namespace migrations
