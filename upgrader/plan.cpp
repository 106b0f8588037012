#include "upgrader/plan.h"

#include <algorithm>

namespace {

void Merge(const VGDB::MissingNames& from, VGDB::MissingNames& to) {
    for (const auto& [table, names] : from)
        to[table].insert(names.begin(), names.end());
}

bool Contains(const std::vector<Record::NotedMigration>& noted, const Migration& migration) {
    return std::find(noted.begin(), noted.end(), Record::NoteOf(migration)) != noted.end();
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
    std::vector<Migration> done;  // checks that run after every change
    bool changes = false;
    for (size_t number = 0; number < kMigrationCount; ++number) {
        const Migration& migration = MigrationAt(number);
        const bool failed = Contains(facts.failed, migration);
        const bool isDone = plan.oldBuild == facts.oldBuild && Contains(facts.done, migration) && !failed;
        if (!failed && !IsDue(MigrationRegistry[number], plan.oldBuild))
            continue;
        changes = changes || (!isDone && migration.threshold != 0);
        if (!isDone)
            plan.migrations.push_back(migration);
        else if (migration.threshold == 0)
            done.push_back(migration);
    }
    if (changes)
        for (const Migration& migration : done)
            plan.migrations.push_back(migration);
    return plan;
}

Plan PlanRetry(const Record::Facts& facts) {
    Plan plan = PlanMigrations(UINT32_MAX, facts);
    const bool anyFailed = std::any_of(plan.migrations.begin(), plan.migrations.end(),
                                       [&](const Migration& one) { return Contains(facts.failed, one); });
    if (!anyFailed)
        plan.migrations.clear();
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
        for (int attempt = 0; attempt < 2 && !repair.known; ++attempt) {
            repair.differences = {};
            repair.known = VGDB::CompareSchema(repair.path, schema, repair.differences) == 0;
        }
        Merge(repair.differences.names, plan.missing[static_cast<size_t>(number)]);
        plan.repairs.push_back(std::move(repair));
    }
}

bool NeedsRecord(const Plan& plan) {
    return std::any_of(plan.migrations.begin(), plan.migrations.end(),
                       [](const Migration& migration) { return migration.threshold != 0; }) ||
           std::any_of(plan.repairs.begin(), plan.repairs.end(),
                       [](const DatabaseRepair& repair) { return !repair.differences.sql.empty(); });
}

bool MayBegin(VGDB::DBState record) {
    return record == VGDB::DBState::Usable || record == VGDB::DBState::Missing ||
           record == VGDB::DBState::NotADatabase;
}
