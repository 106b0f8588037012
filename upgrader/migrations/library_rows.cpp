// Rows that forward to an operation of the package's libraries, and the row that ends the registry.
#include "platform/axisacs/axisacs.h"
#include "platform/recording/recording.h"
#include "platform/service/service.h"
#include "platform/userlog/recount.h"
#include "upgrader/migrations/migrations.h"

namespace migrations {

int RecountRecordingAndLog() {
    const int recordings = RecordingCount::Recount();
    const int logs = LogCount::Recount();
    return recordings < 0 || logs < 0 ? -1 : 0;
}

int RecountVGLogAndAxisAcsLog() {
    const int logs = VGLogEvent::Recount();
    const int doors = AxisAcsLog::Recount();
    return logs < 0 || doors < 0 ? -1 : 0;
}

int ChangeAddOnServiceStatus() {
    // An add-on that cannot be told is no failure of the upgrade.
    (void)ChangeServiceStatus(kAddOnService, kServiceAction1);
    return 0;
}

// Nothing to do: holds the last place of the registry.
int NoOperation() { return 0; }

}  // namespace migrations
