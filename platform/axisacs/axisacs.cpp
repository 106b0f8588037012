#include "platform/axisacs/axisacs.h"

int AxisAcsLog::Recount() { return 0; }

int AxisAuthProfile::UpgradeAuthProfileDB() { return 0; }
