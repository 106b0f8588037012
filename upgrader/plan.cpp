#include "upgrader/plan.h"

#include <algorithm>

namespace {

// Migrations are few; a pair that stands twice is two of them.
bool TakeOut(std::vector<Record::NotedMigration>& migrations, const Record::NotedMigration& one) {
    const auto found = std::find(migrations.begin(), migrations.end(), one);
    if (found == migrations.end())
        return false;
    migrations.erase(found);
    return true;
}

void Merge(const VGDB::MissingNames& from, VGDB::MissingNames& to) {
    for (const auto& [table, names] : from)
        to[table].insert(names.begin(), names.end());
}

}  // namespace

bool IsDue(const UpgradeEntry& entry, uint32_t oldBuild) {
    return entry.threshold == 0 || oldBuild < entry.threshold;
}

Plan PlanMigrations(uint32_t oldBuild, const Record::Facts& facts) {
    Plan plan;
    plan.resumed = facts.oldBuild.has_value();
    plan.oldBuild = std::min(oldBuild, facts.oldBuild.value_or(oldBuild));
    plan.missing = facts.missing;
    std::vector<Record::NotedMigration> done, failed;
    if (plan.oldBuild == facts.oldBuild) {
        done = facts.done;
        failed = facts.failed;
    }
    for (size_t number = 0; MigrationRegistry[number].function; ++number) {
        if (!IsDue(MigrationRegistry[number], plan.oldBuild))
            continue;
        const Migration& migration = MigrationAt(number);
        const Record::NotedMigration noted = Record::NoteOf(migration);
        if (!TakeOut(done, noted))
            plan.migrations.push_back(migration);
        else if (TakeOut(failed, noted))
            plan.failedBefore.push_back(migration);
    }
    return plan;
}

void PlanRepair(Plan& plan, const std::string& schemaFolder) {
    plan.repairs.clear();
    for (int number = 0; number < DB_INSTANCE_COUNT; ++number) {
        DatabaseRepair repair;
        repair.db = static_cast<DB_INSTANCE>(number);
        repair.path = VGDB::GetDBPath(repair.db);
        std::string schema = VGDB::GetSqlFile(repair.path);
        if (!schemaFolder.empty())
            schema = schemaFolder + schema.substr(schema.rfind('/'));
        repair.known = VGDB::CompareSchema(repair.path, schema, repair.differences) == 0;
        Merge(repair.differences.names, plan.missing[static_cast<size_t>(number)]);
        plan.repairs.push_back(std::move(repair));
    }
}
