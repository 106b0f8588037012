#include "platform/service/service.h"

// Not settled: how services are started, stopped and told of changes.
int ChangeServiceStatus(int /*service*/, int /*action*/) { return 0; }
