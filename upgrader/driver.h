// The upgrade from start to end.
#pragma once

#include <cstdint>

#include "upgrader/log.h"
#include "upgrader/registry.h"
#include "upgrader/upgrade_record.h"

// Whether the row is to run: its threshold is 0 or lies above the old build.
bool IsDue(const UpgradeEntry& entry, uint32_t oldBuild);

// Repairs the schema of the 17 databases: creates what the schema files declare and the databases lack, and
// notes in g_missingSchema what that was. A database that cannot be repaired is logged, as
// the caller, and left.
void RepairSchema(UpgradeRecord& record, LogSite site = LogSite::Here());

// Runs the rows of the table that the old build calls for, in table order and each as one unit, but for those
// that an earlier run has done; never stops at a failure. Returns 0, or -1 when at least one migration
// failed.
int DoAction(const UpgradeEntry* table, uint32_t oldBuild, UpgradeRecord& record);
