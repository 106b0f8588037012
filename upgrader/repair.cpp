#include "upgrader/repair.h"

#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/base/first_change.h"
#include "platform/base/strings.h"
#include "upgrader/missing_schema.h"

namespace {

constexpr std::chrono::seconds kPatienceBefore{60};
constexpr std::chrono::seconds kPatienceWithin{10};

// Whether a database whose repair has failed may lack what it would have got. What is missing for a moment's failure
// must not be taken for what the system never had.
bool MayLack(DB_INSTANCE db) {
    std::error_code unknown;
    const VGDB::DBState state = VGDB::Probe(db);
    return state != VGDB::DBState::Missing && state != VGDB::DBState::NotADatabase &&
           (std::filesystem::exists(VGDB::GetSqlFile(VGDB::GetDBPath(db)), unknown) || unknown);
}

// What the guards of a database that cannot be repaired do not find they cannot tell from then on. The main database is
// repaired in the transaction that is held, the others are on disk when the call returns.
bool RepairSchema(const Plan& plan, std::vector<RepairDone>& repaired, const LogSite& site) {
    bool mainIsWhole = true;
    VGDB::BeginRepairs();
    for (const DatabaseRepair& repair : plan.repairs) {
        const std::string& sql = repair.differences.sql;
        if (!sql.empty())
            AnnounceChange();  // known to be one
        const bool failed =
            !repair.known || VGDB::Executep(repair.path, sql, nullptr, false, true, true, true, {});
        const bool incomplete = failed && MayLack(repair.db);
        VGDB::SetIncomplete(repair.db, incomplete);
        if (failed) {
            LogMessage(site, "Failed to repair missing schema of %s\n", repair.path.c_str());
            mainIsWhole = mainIsWhole && (repair.db != DB_SYSTEM || !incomplete);
        } else if (!sql.empty()) {
            repaired.push_back({.db = repair.db, .added = InWords(repair.differences)});
            UPG_LOG("Repaired %s: %s\n", repair.path.c_str(),
                    JoinStrings(repaired.back().added, "; ").c_str());
        }
    }
    (void)VGDB::EndRepairs();  // logged there; a repair that is undone is found missing by the next upgrade
    return mainIsWhole;
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

void SetPatienceBeforeWalk() { VGDB::SetPatience(kPatienceBefore, kPatienceBefore); }

std::function<bool()> RepairBeforeWalk(Plan& plan, std::vector<RepairDone>& repaired, const LogSite& site) {
    return [&plan, &repaired, site, again = false]() mutable {
        if (std::exchange(again, true)) {  // that of the main database is undone
            PlanRepair(plan);
            std::erase_if(repaired, [](const RepairDone& one) { return one.db == DB_SYSTEM; });
        }
        g_missingSchema.assign(plan.missing.begin(), plan.missing.end());
        const bool done = RepairSchema(plan, repaired, site);
        VGDB::SetPatience(kPatienceWithin, std::chrono::milliseconds::max());
        return done;
    };
}

void LogIndexesLeftOut(const Plan& plan, const LogSite& site) {
    for (const DatabaseRepair& repair : plan.repairs)
        for (const std::string& index : repair.differences.indexesLeftOut)
            LogMessage(site, "%s: index %s is left out, the rows of its table do not allow it.\n",
                       repair.path.c_str(), index.c_str());
}
