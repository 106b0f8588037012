#include "upgrader/implement/camera_integration.h"

#include "platform/package/vglog.h"

namespace implement {

int ExecuteBatch(const std::string& batch, LogSite site) {
    return ExecuteSql(DB_SYSTEM, batch, kFailedCommand, site);
}

void LogToUser(int logType, long long itemId, const std::vector<std::string>& params) {
    VGLog(logType, "SYSTEM", itemId, params, 0, 0);
}

}  // namespace implement
