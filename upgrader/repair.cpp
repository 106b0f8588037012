#include "upgrader/repair.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/base/strings.h"
#include "upgrader/missing_schema.h"

namespace {

bool Run(const DatabaseRepair& repair) {
    return VGDB::Executep(repair.path, repair.differences.sql, nullptr, false, true, true, true, {}) == 0;
}

// Whether a database whose schema could not be compared may lack something. What is missing for a moment's failure must
// not be taken for what the system never had.
bool MayLack(DB_INSTANCE db) {
    std::error_code unknown;
    const VGDB::DBState state = VGDB::Probe(db);
    return state != VGDB::DBState::Missing && state != VGDB::DBState::NotADatabase &&
           (std::filesystem::exists(VGDB::GetSqlFile(VGDB::GetDBPath(db)), unknown) || unknown);
}

// The tables and columns that SQLite cannot add.
VGDB::MissingNames NotAddable(const VGDB::SchemaDifferences& differences) {
    VGDB::MissingNames names;
    for (const std::string& table : differences.tablesNotAddable)
        names[table.substr(0, table.find(':'))].insert("*");
    for (const std::string& column : differences.columnsNotAddable) {
        const size_t dot = column.find('.');
        names[column.substr(0, dot)].insert(column.substr(dot + 1, column.find(':', dot) - dot - 1));
    }
    return names;
}

}  // namespace

std::vector<std::string> InWords(const VGDB::SchemaDifferences& differences) {
    std::vector<std::string> words;
    for (const auto& [kind, names] :
         {std::pair{"table ", &differences.tables}, std::pair{"column ", &differences.columns},
          std::pair{"index ", &differences.indexes}})
        for (const std::string& name : *names)
            words.push_back(kind + name);
    return words;
}

void RepairDatabase(const DatabaseRepair& repair, RepairReport& report, const LogSite& site) {
    const VGDB::SchemaDifferences& differences = repair.differences;
    const bool done = repair.known && (Run(repair) || Run(repair));  // a disk may be full for a moment
    VGDB::NotRepaired lacks{.all = !repair.known && MayLack(repair.db), .names = {}};
    if (done) {
        lacks.names = NotAddable(differences);
        if (!differences.sql.empty()) {
            report.added[repair.db] = InWords(differences);
            LogMessage({site.line, "RepairSchema"}, "Repaired %s: %s\n", repair.path.c_str(),
                       JoinStrings(report.added[repair.db], "; ").c_str());
        }
    } else {
        report.added.erase(repair.db);
        lacks.names = differences.names;
    }
    for (const std::string& table : differences.tablesNotAddable)
        LogMessage(site, "%s: cannot add table %s\n", repair.path.c_str(), table.c_str());
    for (const std::string& column : differences.columnsNotAddable)
        LogMessage(site, "%s: cannot add column %s\n", repair.path.c_str(), column.c_str());
    report.notRepaired.erase(repair.db);
    if (!done || !lacks.names.empty()) {
        LogMessage(site, "Failed to repair missing schema of %s\n", repair.path.c_str());
        report.notRepaired.insert(repair.db);
    }
    VGDB::SetNotRepaired(repair.db, std::move(lacks));
}

void RepairSchema(const Plan& plan, RepairReport& report, const LogSite& site) {
    g_missingSchema.assign(plan.missing.begin(), plan.missing.end());
    for (const DatabaseRepair& repair : plan.repairs)
        RepairDatabase(repair, report, site);
}
