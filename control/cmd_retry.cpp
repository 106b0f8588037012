// retry: runs the failed migrations again, under the guarantees of an upgrade. With --give-up, one that can never succeed
// is struck off first; its work is then not done, and those that need it run.
#include <optional>

#include "control/command.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "upgrader/lock.h"
#include "upgrader/upgrade.h"

namespace {

constexpr unsigned kNone = ~0u;

class Retry : public Command {
public:
    Retry() : Command("retry", "Runs the failed migrations again", Access::Asks) {
        m_log = LogSink::PackageLog;
        m_options = {{"--give-up NUMBER", &m_giveUp, "Strike this one off; its work is then not done"},
                     {"--yes", &m_yes, "Do not ask"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    unsigned m_giveUp = kNone;
    bool m_yes = false;
};

}  // namespace

Outcome Retry::Run(const General& general) {
    if (m_giveUp != kNone && m_giveUp >= kMigrationCount)
        return Outcome::Refused("There is no migration [" + std::to_string(m_giveUp) + "]");
    if (m_giveUp != kNone)
        if (std::string refusal =
                AskAtTerminal("Give up [" + std::to_string(m_giveUp) + "] " + MigrationAt(m_giveUp).name +
                                  "? What it was to do is then not done.",
                              m_yes);
            !refusal.empty())
            return Outcome::Refused(std::move(refusal));
    UpgradeLock lock;  // not while somebody thinks about the answer
    if (!lock.Acquire(general.Patience()))
        return Outcome::Refused("An upgrade of this package still runs; nothing was changed.");
    if (VGDB::Probe(DB_SYSTEM) == VGDB::DBState::NotADatabase)
        return Outcome::Refused("The main database is no database any more: " + VGDB::GetDBPath(DB_SYSTEM));
    RetryReport report =
        RetryFailed(m_giveUp == kNone ? std::nullopt : std::optional(static_cast<int>(m_giveUp)));
    if (!report.refused.empty())
        return Outcome::Refused(std::move(report.refused));
    report.history["failed"] = ToJson(FindFailed(report.left), {report.history});
    report.history["owed"] =
        Json::Int64{static_cast<long long>(report.left.keys.size()) + report.left.entries};
    const bool hasProblems =
        report.status < 0 || !report.isRead || report.left.Owes() || !report.left.failed.empty();
    return Outcome::Done(std::move(report.history), hasProblems);
}

std::string Retry::Print(const Json::Value& result) const {
    std::string text = "Nothing to retry.\n";
    if (!result["migrations"].empty()) {
        TextTable table({">number", "name", ">changes", "outcome"});
        for (const Json::Value& run : result["migrations"]) {
            const bool failed = run["result"].asInt() < 0;
            const std::string reason = ReasonOf(run);
            table.Add({std::to_string(run["row"].asInt()),
                       run["name"].asString(),
                       std::to_string(run["changes"].asInt64()),
                       {failed ? "failed again" + (reason.empty() ? "" : ": " + reason) : "done",
                        failed ? Tone::Bad : Tone::Good}});
        }
        text = table.ToString();
    }
    for (const Json::Value& one : result["failed"])
        if (one["row"].isNull())
            text += Paragraph("Failed once, and is not among the migrations of this version any more: " +
                                  Escaped(one["name"].asString()),
                              Tone::Bad);
    if (result["owed"].asInt64() > 0)
        text += Paragraph(
            "Still owed: " + Counted(result["owed"].asUInt64(), "key or log entry", "keys and log entries") +
                ".",
            Tone::Bad);
    return text;
}

std::unique_ptr<Command> MakeRetry() { return std::make_unique<Retry>(); }
