#include "upgrader/implement/camera_integration.h"

#include <utility>

#include "platform/package/vglog.h"

namespace implement {

int ExecuteBatch(std::string batch, LogSite site) {
    if (batch.empty() || VGDB::Execute(DB_SYSTEM, std::move(batch)) == 0)
        return 0;
    return LogFailure(site, kFailedToExecute);
}

void LogToUser(int logType, int itemId, const std::vector<std::string>& params) {
    VGLog(logType, "SYSTEM", itemId, params, 0, 0);
}

}  // namespace implement
