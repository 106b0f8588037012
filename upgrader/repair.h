// The schema repair: creates what the schema files declare and the databases lack.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "upgrader/log.h"
#include "upgrader/plan.h"

// What the SQL of the differences adds: "table t", "column t.c", "index i".
std::vector<std::string> InWords(const VGDB::SchemaDifferences& differences);

struct RepairDone {
    DB_INSTANCE db;
    std::vector<std::string> added;  // in words
};

// Busy databases are waited for up to a minute all together, from here to the end of the repair.
void SetPatienceBeforeWalk();

// The repair of the 17 databases as planned, for a walk to call before its rows. It adds to `repaired` what that was; a
// database that cannot be repaired is logged, at the caller's place, and left. False when the main database has not
// taken its repair. Called again, it repairs the main database anew. The migrations are told what the plan finds
// missing. From its end on, busy databases are waited for ten seconds each.
std::function<bool()> RepairBeforeWalk(Plan& plan, std::vector<RepairDone>& repaired, const LogSite& site);

// Says which indexes the rows of their tables do not allow.
void LogIndexesLeftOut(const Plan& plan, const LogSite& site);
