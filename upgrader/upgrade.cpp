#include "upgrader/upgrade.h"

#include <algorithm>
#include <chrono>
#include <vector>

#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/base/vgprintf.h"
#include "platform/settings/settings.h"
#include "upgrader/disk_need.h"
#include "upgrader/history.h"
#include "upgrader/log.h"
#include "upgrader/outbox.h"
#include "upgrader/plan.h"
#include "upgrader/progress.h"
#include "upgrader/repair.h"
#include "upgrader/runner.h"

namespace {

// The driver's lines are known in the log by this name.
constexpr LogSite kMain{__LINE__, "main"};

// A stamp that cannot be written changes nothing; the library has logged it. Nor does one that is not known.
void StampVersion() {
    std::string version;
    if (FindVGPkgVersion(version) == 0)
        (void)SetSettingConfValue("vg_upgrader_version", version);
    else
        LogMessage(kMain, "No version is stamped, since %s cannot be read.\n",
                   ResolvePath(kPackageConf).c_str());
}

void LogDiskNeeds(const Plan& plan) {
    for (const DiskNeed& disk : FindDiskNeeds(plan))
        if (disk.needed > disk.free)
            LogMessage(kMain,
                       "The file system of %s may be too full: %llu bytes can be needed, %llu are free.\n",
                       disk.fileSystem.c_str(), static_cast<unsigned long long>(disk.needed),
                       static_cast<unsigned long long>(disk.free));
}

// "263 migrations ran, 1 failed, 0.13 s: [218] IntegrateExternalProfileToCam"
std::string InWords(const Runner& runner, std::vector<Migration> failed, double seconds) {
    for (const MigrationRun& run : runner.Runs())
        if (run.result < 0)
            failed.push_back(run.migration);
    std::string text =
        StringPrintf("%zu migrations ran, %zu failed, %.2f s", runner.Runs().size(), failed.size(), seconds);
    for (size_t i = 0; i < failed.size(); ++i)
        text += StringPrintf("%s [%d] %s", i == 0 ? ":" : ",", failed[i].number, failed[i].name);
    return text;
}

// Shows how far it is, to the terminal and to vgupgradectl status.
void ShowProgress(Runner& runner, size_t count) {
    runner.OnProgress([count, done = size_t{0}](const Migration& migration) mutable {
        NoteProgress(++done, count, migration.number, migration.name);
        SetProgressLine(StringPrintf("[%zu/%zu] %s", done, count, migration.name));
    });
}

// Those that the record notes as failed, and those that run after every change.
std::vector<Migration> MigrationsToRetry(const Record::Facts& facts) {
    std::vector<Migration> migrations;
    bool anyFailed = false;
    for (size_t number = 0; number < kMigrationCount; ++number) {
        const Migration& one = MigrationAt(number);
        const bool failed =
            std::find(facts.failed.begin(), facts.failed.end(), Record::NoteOf(one)) != facts.failed.end();
        anyFailed = anyFailed || failed;
        if (failed || one.threshold == 0)
            migrations.push_back(one);
    }
    return anyFailed ? migrations : std::vector<Migration>();
}

}  // namespace

int Upgrade(std::string_view argument, uint32_t build) {
    const auto started = std::chrono::system_clock::now();
    const auto begin = std::chrono::steady_clock::now();

    SetPatienceBeforeWalk();
    Record::Facts facts;
    const Record::State state = Record::Open(facts);
    if (state == Record::State::Usable)
        Outbox::DeliverOwed(facts);

    Plan plan = PlanMigrations(build, facts);
    PlanRepair(plan);
    LogDiskNeeds(plan);

    std::vector<RepairDone> repaired;
    Runner runner(facts, state);
    ShowProgress(runner, plan.migrations.size());
    const int ran = runner.Run({.oldBuild = plan.oldBuild,
                                .missing = plan.missing,
                                .before = RepairBeforeWalk(plan, repaired, kMain),
                                .migrations = plan.migrations,
                                .after = StampVersion});
    SetProgressLine("");

    const bool failed = ran < 0 || state == Record::State::SetAside || !plan.failedBefore.empty();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    if (runner.HasChanged())
        LogIndexesLeftOut(plan, kMain);
    if (runner.HasChanged() || failed)
        (void)AppendHistory(HistoryOf(plan, runner, repaired, std::string(argument).c_str(), started,
                                      seconds.count(), failed ? -1 : 0),
                            failed);
    LogMessage(kMain, "Upgrade from build %u: %s.\n", plan.oldBuild,
               InWords(runner, plan.failedBefore, seconds.count()).c_str());
    return failed ? -1 : 0;
}

RetryReport RetryFailed() {
    RetryReport report;
    const auto started = std::chrono::system_clock::now();
    const auto begin = std::chrono::steady_clock::now();
    SetPatienceBeforeWalk();
    Record::Facts facts;
    const Record::State state = Record::Open(facts);
    if (state == Record::State::SetAside) {
        report.refused = "The main database cannot be read: " + VGDB::GetDBPath(DB_SYSTEM) +
                         " (vgupgradectl check tells more). Nothing was changed.";
        return report;
    }
    if (facts.oldBuild) {
        report.refused =
            "An upgrade was interrupted, which comes first: vgupgrader " + std::to_string(*facts.oldBuild);
        return report;
    }
    if (state == Record::State::Usable)
        Outbox::DeliverOwed(facts);

    Runner runner(facts, state);
    std::vector<RepairDone> repaired;
    const std::vector<Migration> migrations = MigrationsToRetry(facts);
    if (!migrations.empty()) {
        Plan plan;
        plan.missing = facts.missing;
        PlanRepair(plan);  // one may have failed for what was missing
        ShowProgress(runner, migrations.size());
        report.status = runner.Run({.oldBuild = std::nullopt,
                                    .missing = plan.missing,
                                    .before = RepairBeforeWalk(plan, repaired, kMain),
                                    .migrations = migrations,
                                    .after = nullptr});
        SetProgressLine("");
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;

    report.history = HistoryOf(Plan{}, runner, repaired, nullptr, started, seconds.count(), report.status);
    report.history["old_build"] = Json::Value();  // migrations of several upgrades may have failed
    if (!migrations.empty()) {
        (void)AppendHistory(report.history, report.status < 0);  // logged
        UPG_LOG("Retry: %s.\n", InWords(runner, {}, seconds.count()).c_str());
    }
    report.isRead = Record::Read(report.left) == 0;
    return report;
}
