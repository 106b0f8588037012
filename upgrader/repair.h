// The schema repair: creates what the schema files declare and the databases lack.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "upgrader/log.h"
#include "upgrader/plan.h"

// What the SQL of the differences adds: "table t", "column t.c", "index i".
std::vector<std::string> InWords(const VGDB::SchemaDifferences& differences);

struct RepairReport {
    std::map<DB_INSTANCE, std::vector<std::string>> added;  // in words
    std::set<DB_INSTANCE> notRepaired;                      // wholly or in part
};

// Repairs a database as planned. What cannot be created is logged, at the caller's place, and the guards of migrations
// cannot tell from then on whether it should be there.
void RepairDatabase(const DatabaseRepair& repair, RepairReport& report, const LogSite& site);

// The 17 of them, after the migrations have been told what the plan finds missing.
void RepairSchema(const Plan& plan, RepairReport& report, const LogSite& site);
