// Recordings and where they are kept.
#include "platform/recording/recording.h"
#include "platform/userlog/recount.h"
#include "upgrader/implement/integrate_external_pre_post_rec_time_to_cam.h"
#include "upgrader/migrations.h"

namespace migrations {

int RecountRecordingAndLog() {
    const int recordings = RecordingCount::Recount();
    const int logs = LogCount::Recount();
    return recordings < 0 || logs < 0 ? -1 : 0;
}

int once::IntegratePrePostRecTimeOnce() { return implement::IntegrateExternalPrePostRecTimeToCam().Run(); }

}  // namespace migrations
