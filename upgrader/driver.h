// The upgrade from start to end.
#pragma once

#include <cstdint>

#include "upgrader/registry.h"

// Repairs the schema of the 17 databases: creates what the schema files declare and the databases lack, and
// notes in g_missingSchema what that was. A database that cannot be repaired is logged and left.
void RepairSchema();

// Runs the rows of the table that the old build calls for, in table order, and never stops at a failure.
// Returns 0, or -1 when at least one migration failed.
int DoAction(const UpgradeEntry* table, uint32_t oldBuild);
