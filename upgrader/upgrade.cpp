#include "upgrader/upgrade.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/settings.h"
#include "upgrader/disk_need.h"
#include "upgrader/history.h"
#include "upgrader/journal.h"
#include "upgrader/log.h"
#include "upgrader/marker.h"
#include "upgrader/once.h"
#include "upgrader/outbox.h"
#include "upgrader/plan.h"
#include "upgrader/progress.h"
#include "upgrader/runner.h"

namespace {

// The driver's lines are known in the log by this name.
constexpr LogSite kMain{__LINE__, "main"};

// How long all databases together are waited for before the first migration.
constexpr std::chrono::seconds kPatienceBefore{60};

struct Stopwatch {
    std::chrono::system_clock::time_point started = std::chrono::system_clock::now();
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();

    double Seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }
};

// A stamp that cannot be written changes nothing; the library has logged it. Nor does one that is not known.
void StampVersion() {
    std::string version;
    if (FindVGPkgVersion(version) == 0)
        (void)SetSettingConfValue(kStampKey, version);
    else
        LogMessage(kMain, "No version is stamped, since %s cannot be read.\n",
                   ResolvePath(kPackageConf).c_str());
}

// An upgrade from an older build than that of the stamp converts some things a second time.
void LogOlderThanStamp(uint32_t oldBuild) {
    std::array<char, 256> stamp{};
    if (GetSettingsConfValue(kStampKey, "", stamp.data(), static_cast<int>(stamp.size())) < 0)
        return;
    const std::string text = stamp.data();
    const size_t dash = text.rfind('-');
    if (dash != std::string::npos && std::strtoull(text.c_str() + dash + 1, nullptr, 10) > oldBuild)
        LogMessage(kMain, "The settings are stamped %s, this upgrade begins at build %u.\n", text.c_str(),
                   oldBuild);
}

void LogDiskNeeds(const Plan& plan) {
    for (const DiskNeed& disk : FindDiskNeeds(plan))
        if (disk.needed > disk.free)
            LogMessage(kMain,
                       "The file system of %s may be too full: %llu bytes can be needed, %llu are free.\n",
                       disk.fileSystem.c_str(), static_cast<unsigned long long>(disk.needed),
                       static_cast<unsigned long long>(disk.free));
}

void LogIndexesLeftOut(const Plan& plan) {
    for (const DatabaseRepair& repair : plan.repairs)
        for (const std::string& index : repair.differences.indexesLeftOut)
            LogMessage(kMain, "%s: index %s is left out, the rows of its table do not allow it.\n",
                       repair.path.c_str(), index.c_str());
}

// "263 migrations ran, 1 failed, 0.13 s: [218] IntegrateExternalProfileToCam; not repaired: pos.db"
std::string InWords(const Runner& runner, double seconds) {
    size_t failed = 0;
    std::string names;
    for (const MigrationRun& run : runner.Runs())
        if (run.result < 0)
            names += StringPrintf("%s [%d] %s", failed++ == 0 ? ":" : ",", run.migration.number,
                                  run.migration.name);
    std::string text =
        StringPrintf("%zu migrations ran, %zu failed, %.2f s", runner.Runs().size(), failed, seconds) + names;
    const char* separator = "; not repaired: ";
    for (const DB_INSTANCE db : runner.Repaired().notRepaired)
        text += std::exchange(separator, ", ") + VGDB::GetDBName(db);
    return text;
}

// Shows how far it is, to the terminal and to vgupgradectl status.
void ShowProgress(Runner& runner, size_t count) {
    runner.OnProgress([count, done = size_t{0}](const Migration& migration) mutable {
        done = done % count + 1;  // it may run twice
        NoteProgress(done, count, migration.number, migration.name);
        SetProgressLine(StringPrintf("[%zu/%zu] %s", done, count, migration.name));
    });
}

// Delivers what an earlier upgrade owes, log entries after the repair of their database. Returns 0 or -1.
int DeliverOwed(const Plan& plan, Record::Facts& facts, RepairReport& repaired) {
    const DatabaseRepair& log = plan.repairs[DB_LOG];
    if (facts.entries > 0 && !log.differences.sql.empty())
        RepairDatabase(log, repaired, kMain);
    return Outbox::DeliverOwed(facts);
}

// Whether an upgrade by this version has come to its end, and its stamp is lost.
bool IsStampLost() {
    std::vector<Json::Value> history;
    std::string version;
    std::array<char, 256> stamp{};
    if (ReadHistory(history) || FindVGPkgVersion(version) ||
        GetSettingsConfValue(kStampKey, "", stamp.data(), static_cast<int>(stamp.size())) < 0)
        return false;
    const auto upgrade = std::find_if(history.rbegin(), history.rend(),
                                      [](const Json::Value& one) { return one["argument"].isString(); });
    return upgrade != history.rend() && !(*upgrade)["migrations"].empty() &&
           (*upgrade)["version"] == version && stamp.data() != version;
}

// Notes what the plan is about to change. Returns '' when it may, or why nothing may be changed.
std::string Begin(const Plan& plan, std::optional<uint32_t> oldBuild, bool hasRecord, Record::Facts& facts) {
    const bool isNoted =
        !hasRecord || !NeedsRecord(plan) || Record::Begin(facts, oldBuild, plan.missing) == 0;
    return isNoted ? "" : VGDB::Reason(DB_SYSTEM);
}

// The last line, which goes to the journal of the host too. Returns the status.
int Report(const std::string& line, int status, const Runner& runner, std::optional<uint32_t> oldBuild) {
    LogMessage(kMain, "%s\n", line.c_str());
    const auto failed = std::count_if(runner.Runs().begin(), runner.Runs().end(),
                                      [](const MigrationRun& run) { return run.result < 0; });
    SendToJournal({.message = line,
                   .status = status == 0 ? 0 : 255,
                   .failed = static_cast<unsigned long long>(failed),
                   .oldBuild = oldBuild});
    return status;
}

std::string RunAgain(uint32_t build) { return ". Run again: vgupgrader " + std::to_string(build); }

// The end of an upgrade that could not begin.
int RefuseUpgrade(std::string_view argument, uint32_t build, const Record::Facts& facts,
                  const std::string& why, const Stopwatch& watch) {
    Plan plan;
    plan.oldBuild = std::min(build, facts.oldBuild.value_or(build));
    plan.resumed = facts.oldBuild.has_value();
    uint32_t marked = 0;
    std::string foreign;
    if (ReadMarker(marked, foreign) >= 0)
        (void)WriteMarker(plan.oldBuild);  // logged; the stamp tells too that an upgrade is due
    VGDB::CloseAll();
    const Runner runner({}, false);
    (void)AppendHistory(HistoryOf(plan, runner, std::string(argument), watch.started, watch.Seconds(), -1),
                        true);
    return Report("Nothing was changed: " + why + RunAgain(plan.oldBuild), -1, runner, plan.oldBuild);
}

}  // namespace

int Upgrade(std::string_view argument, uint32_t build) {
    const Stopwatch watch;
    VGDB::SetPatience(kPatienceBefore, kPatienceBefore);
    Record::Facts facts;
    std::string why;
    const VGDB::DBState state = Record::Open(facts, why);
    if (!MayBegin(state))
        return RefuseUpgrade(argument, build, facts, why, watch);
    const bool hasRecord = state == VGDB::DBState::Usable;

    Plan plan = PlanMigrations(build, facts);
    PlanRepair(plan);
    if (why = Begin(plan, plan.oldBuild, hasRecord, facts); !why.empty())
        return RefuseUpgrade(argument, build, facts, why, watch);
    if (NeedsRecord(plan)) {
        LogOlderThanStamp(plan.oldBuild);
        LogDiskNeeds(plan);
        LogIndexesLeftOut(plan);
    }
    if (facts.isMarked && hasRecord)
        RemoveMarker();
    RepairReport repairedLog;
    const bool owed = facts.Owes();
    const bool owes = hasRecord && DeliverOwed(plan, facts, repairedLog) != 0;
    if (!repairedLog.added.empty())
        plan.repairs[DB_LOG].differences.sql.clear();

    Runner runner(facts, hasRecord, std::move(repairedLog));
    ShowProgress(runner, plan.migrations.size());
    const int status = runner.Run(plan, StampVersion);
    SetProgressLine("");
    if (facts.isMarked && !hasRecord)
        RemoveMarker();

    const double seconds = watch.Seconds();
    if (runner.HasChanged() || NeedsRecord(plan) || owed || owes || status < 0)
        (void)AppendHistory(HistoryOf(plan, runner, std::string(argument), watch.started, seconds, status),
                            status < 0);
    const std::string outcome = runner.Undone().empty()
                                    ? InWords(runner, seconds) + '.'
                                    : "undone: " + runner.Undone() + RunAgain(plan.oldBuild);
    return Report("Upgrade from build " + std::to_string(plan.oldBuild) + ": " + outcome, status, runner,
                  plan.oldBuild);
}

RetryReport RetryFailed(std::optional<int> giveUp) {
    const Stopwatch watch;
    RetryReport report;
    VGDB::SetPatience(kPatienceBefore, kPatienceBefore);
    Record::Facts facts;
    std::string why;
    const VGDB::DBState state = Record::Open(facts, why);
    const bool hasRecord = state == VGDB::DBState::Usable;
    if (!MayBegin(state)) {
        report.refused = why + ". Nothing was changed.";
        return report;
    }
    if (facts.oldBuild) {
        report.refused =
            "An upgrade was interrupted, which comes first: vgupgrader " + std::to_string(*facts.oldBuild);
        return report;
    }
    if (giveUp) {
        const auto isIt = [&](const Record::NotedMigration& one) {
            return *giveUp >= 0 && static_cast<size_t>(*giveUp) < kMigrationCount &&
                   one == Record::NoteOf(MigrationAt(static_cast<size_t>(*giveUp)));
        };
        const auto found = std::find_if(facts.failed.begin(), facts.failed.end(), isIt);
        if (found == facts.failed.end()) {
            report.refused = "No failed migration has the number " + std::to_string(*giveUp) + ".";
            return report;
        }
        if (VGDB::Execute(DB_SYSTEM, Record::SucceededSql(*found) + Record::EndSql())) {
            report.refused = VGDB::Reason(DB_SYSTEM) + ". Nothing was changed.";
            return report;
        }
        UPG_LOG("Given up: [%d] %s.\n", *giveUp, found->name.c_str());
        facts.failed.erase(found);
    }

    Plan plan = PlanRetry(facts);
    PlanRepair(plan);  // one may have failed for what was missing
    if (plan.migrations.empty())
        for (DatabaseRepair& repair : plan.repairs)
            if (repair.db != DB_LOG || facts.entries == 0)
                repair.differences.sql.clear();
    if (why = Begin(plan, std::nullopt, hasRecord, facts); !why.empty()) {
        report.refused = why + ". Nothing was changed.";
        return report;
    }
    RepairReport repairedLog;
    if (hasRecord)
        (void)DeliverOwed(plan, facts, repairedLog);
    if (!repairedLog.added.empty())
        plan.repairs[DB_LOG].differences.sql.clear();

    Runner runner(facts, hasRecord, std::move(repairedLog));
    const bool isStampLost = IsStampLost();
    const bool runs = !plan.migrations.empty() || isStampLost;
    if (runs) {
        ShowProgress(runner, std::max<size_t>(plan.migrations.size(), 1));
        report.status = runner.Run(plan, [isStampLost] {
            if (isStampLost)
                StampVersion();
        });
        SetProgressLine("");
    }
    const double seconds = watch.Seconds();
    report.history = HistoryOf(plan, runner, std::nullopt, watch.started, seconds, report.status);
    if (runs) {
        (void)AppendHistory(report.history, report.status < 0);  // logged
        (void)Report("Retry: " + (runner.Undone().empty()
                                      ? InWords(runner, seconds) + '.'
                                      : "undone: " + runner.Undone() + ". Run again: vgupgradectl retry"),
                     report.status, runner, std::nullopt);
    }
    report.isRead = Record::Read(report.left) == 0;
    return report;
}
