// retry: runs the failed migrations again, under the guarantees of an upgrade.
//
//   1. Deliver what is owed.
//   2. Take the failed rows that the record notes, and those of threshold 0, which run after every change.
//   3. Walk them, and note it in the history.
#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "control/command.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/strings.h"
#include "upgrader/history.h"
#include "upgrader/log.h"
#include "upgrader/outbox.h"
#include "upgrader/plan.h"
#include "upgrader/repair.h"
#include "upgrader/walk.h"

namespace {

std::vector<WalkRow> RowsToRun(const std::vector<FailedMigration>& failed) {
    std::vector<WalkRow> rows;
    const auto again = [&failed](size_t number) {
        return std::any_of(failed.begin(), failed.end(),
                           [number](const FailedMigration& row) { return row.number == number; });
    };
    for (size_t number = 0; number < kMigrationCount; ++number)
        if (again(number) || MigrationRegistry[number].threshold == 0)
            rows.push_back(RowOf(number));
    return rows;
}

void LogRetry(const Walk& walk, double seconds) {
    std::string names;
    size_t failed = 0;
    for (const RowRun& run : walk.Runs()) {
        if (run.result >= 0)
            continue;
        names += StringPrintf("%s [%d] %s", failed++ == 0 ? ":" : ",", run.row.number, run.row.name);
    }
    UPG_LOG("Retry: %zu migrations ran, %zu failed, %.2f s%s.\n", walk.Runs().size(), failed, seconds,
            names.c_str());
}

class Retry : public Command {
public:
    Retry() : Command("retry", "Runs the failed migrations again", Access::Locked) {
        m_log = LogSink::PackageLog;
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;
};

}  // namespace

Outcome Retry::Run(const General& /*general*/) {
    const auto started = std::chrono::system_clock::now();
    const auto begin = std::chrono::steady_clock::now();
    SetPatienceBeforeWalk();
    Record::Facts facts;
    const Record::State state = Record::Open(facts);
    if (state == Record::State::SetAside)
        return Outcome::Refused("The main database cannot be read: " + VGDB::GetDBPath(DB_SYSTEM) +
                                " (vgupgradectl check tells more). Nothing was changed.");
    if (facts.oldBuild)
        return Outcome::Refused("An upgrade was interrupted, which comes first: vgupgrader " +
                                std::to_string(*facts.oldBuild));
    if (state == Record::State::Usable)
        Outbox::DeliverOwed(facts);

    const std::vector<FailedMigration> failed = FindFailed(facts);
    const bool hasRows = !failed.empty() && failed.front().number;
    Walk walk(facts, state);
    int result = 0;
    std::vector<RepairDone> repaired;
    if (hasRows) {
        Plan plan;
        plan.missing = facts.missing;
        PlanRepair(plan);  // a row may have failed for what was missing
        const std::vector<WalkRow> rows = RowsToRun(failed);
        walk.OnProgress([&rows, count = 0](const WalkRow& row) mutable {
            SetProgressLine(StringPrintf("[%d/%zu] %s", ++count, rows.size(), row.name));
        });
        result = walk.Run({.oldBuild = std::nullopt,
                           .missing = plan.missing,
                           .before = RepairBeforeWalk(plan, repaired, LogSite::Here()),
                           .rows = rows,
                           .after = nullptr});
        SetProgressLine("");
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;

    Json::Value object = HistoryOf(Plan{}, walk, repaired, nullptr, started, seconds.count(), result);
    object["old_build"] = Json::Value();  // rows of several upgrades may have failed
    if (hasRows) {
        (void)AppendHistory(object, result < 0);  // logged
        LogRetry(walk, seconds.count());
    }
    Record::Facts left;
    const bool isRead = Record::Read(left) == 0;
    object["failed"] = ToJson(FindFailed(left));
    object["owed"] = Json::Int64{static_cast<long long>(left.keys.size()) + left.entries};
    const bool hasProblems = result < 0 || !isRead || left.Owes() || !left.failed.empty();
    return Outcome::Done(std::move(object), hasProblems);
}

std::string Retry::Print(const Json::Value& result) const {
    std::string text;
    if (result["migrations"].empty()) {
        text = "Nothing to retry.\n";
    } else {
        TextTable table({">row", "name", ">changes", "outcome"});
        for (const Json::Value& row : result["migrations"]) {
            const bool failed = row["result"].asInt() < 0;
            table.Add({std::to_string(row["row"].asInt()),
                       row["name"].asString(),
                       std::to_string(row["changes"].asInt64()),
                       {failed ? "failed again" : "done", failed ? Tone::Bad : Tone::Good}});
        }
        text = table.ToString();
    }
    for (const Json::Value& row : result["failed"])
        if (row["row"].isNull())
            text +=
                Toned(Tone::Bad, "Failed once, and is not among the migrations of this version any more: " +
                                     Escaped(row["name"].asString())) +
                '\n';
    if (result["owed"].asInt64() > 0)
        text +=
            Toned(Tone::Bad,
                  "Still owed: " +
                      Counted(result["owed"].asUInt64(), "key or log entry", "keys and log entries") + ".") +
            '\n';
    return text;
}

std::unique_ptr<Command> MakeRetry() { return std::make_unique<Retry>(); }
