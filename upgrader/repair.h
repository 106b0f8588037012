// The schema repair: creates what the schema files declare and the databases lack.
#pragma once

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

// Repairs the 17 databases as planned, and adds to `repaired` what that was. A database that cannot be repaired is
// logged, at the caller's place, and left; what its guards do not find they cannot tell from then on. The main database
// is repaired in the transaction that is held, the others are on disk when the call returns. False when the main
// database has not taken its repair.
bool RepairSchema(const Plan& plan, std::vector<RepairDone>& repaired, const LogSite& site);

// Says which indexes the rows of their tables do not allow.
void LogIndexesLeftOut(const Plan& plan, const LogSite& site);
