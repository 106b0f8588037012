// What would keep an upgrade from getting through, looked at before it begins.
#pragma once

#include <string>
#include <vector>

#include "upgrader/disk_need.h"
#include "upgrader/plan.h"

// One line each: read-only file systems, rights, room, a main database that cannot be used, databases that somebody
// holds, data that are newer than the program. Changes nothing and waits for nobody.
std::vector<std::string> FindObstacles(const Plan& plan, const std::vector<DiskNeed>& disks);
