// What an upgrade would do: the due migrations and the schema repair. Looking changes nothing;
// vgupgrader executes the plan, vgupgradectl prints it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/vgdb/schema_compare.h"
#include "upgrader/record.h"
#include "upgrader/registry.h"

struct DatabaseRepair {
    DB_INSTANCE db = DB_SYSTEM;
    std::string path;
    bool known = false;  // false: the database or its schema file cannot be read
    VGDB::SchemaDifferences differences;
};

struct Plan {
    uint32_t oldBuild = 0;  // the one that the walk uses
    bool resumed = false;   // it finishes an interrupted upgrade
    std::vector<Migration> migrations;
    std::vector<DatabaseRepair> repairs;  // by DB_INSTANCE
    Record::MissingReport missing;        // with what the interrupted upgrade found
};

// Whether the migration is to run: its threshold is 0 or lies above the old build.
bool IsDue(const UpgradeEntry& entry, uint32_t oldBuild);

// The migrations that are due, and those that failed before. An interrupted upgrade is finished: the older of the two
// builds counts, and migrations that have taken effect are left out unless the new build is older than the one they
// ran for.
Plan PlanMigrations(uint32_t oldBuild, const Record::Facts& facts);

// Those that failed before, then those of threshold 0; nothing when none has failed.
Plan PlanRetry(const Record::Facts& facts);

// Adds the repair to the plan, in place of one that was planned before, and what is missing to what was. The schema
// files are those in the folder, when one is given, else the package's.
void PlanRepair(Plan& plan, const std::string& schemaFolder = "");

// Whether an upgrade may begin, as the record was found: anything else changes nothing.
bool MayBegin(VGDB::DBState record);

// Whether it changes what is there: then it is noted in the record before it begins.
bool NeedsRecord(const Plan& plan);
