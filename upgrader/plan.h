// What an upgrade would do: the due rows, the schema repair, the room that it needs. Looking changes nothing;
// vgupgrader executes the plan, vgupgradectl prints it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/vgdb/schema_compare.h"
#include "upgrader/record.h"
#include "upgrader/registry.h"
#include "upgrader/walk.h"

struct DatabaseRepair {
    DB_INSTANCE db = DB_SYSTEM;
    std::string path;
    bool known = false;  // false: the database or its schema file cannot be read
    VGDB::SchemaDifferences differences;
};

// Room on one file system, in bytes.
struct DiskNeed {
    std::string fileSystem;  // a file of the package on it, or the folder of temporary files
    uint64_t needed = 0;     // at the peak of the upgrade
    uint64_t free = 0;
};

struct Plan {
    uint32_t oldBuild = 0;  // the one that the walk uses
    bool resumed = false;   // it finishes an interrupted upgrade
    std::vector<WalkRow> rows;
    std::vector<WalkRow> failedBefore;    // rows of the interrupted upgrade that have run, and failed
    std::vector<DatabaseRepair> repairs;  // by DB_INSTANCE
    Record::MissingReport missing;        // with what the interrupted upgrade found
    std::vector<DiskNeed> disk;
};

// Whether the row is to run: its threshold is 0 or lies above the old build.
bool IsDue(const UpgradeEntry& entry, uint32_t oldBuild);

// The row of the registry.
WalkRow RowOf(size_t number);

// The rows that are due. An interrupted upgrade is finished: the older of the two builds counts, and rows that have
// taken effect are left out unless the new build is older than the one they ran for.
Plan PlanRows(uint32_t oldBuild, const Record::Facts& facts);

// Adds the repair to the plan, in place of one that was planned before, and what is missing to what was.
void PlanRepair(Plan& plan);

// Adds the room that it all needs.
void PlanDisk(Plan& plan);
