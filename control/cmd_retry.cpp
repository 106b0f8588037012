// retry: runs the failed migrations again, under the guarantees of an upgrade.
#include "control/command.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "upgrader/upgrade.h"

namespace {

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
    RetryReport report = RetryFailed();
    if (!report.refused.empty())
        return Outcome::Refused(std::move(report.refused));
    report.history["failed"] = ToJson(FindFailed(report.left));
    report.history["owed"] =
        Json::Int64{static_cast<long long>(report.left.keys.size()) + report.left.entries};
    const bool hasProblems =
        report.status < 0 || !report.isRead || report.left.Owes() || !report.left.failed.empty();
    return Outcome::Done(std::move(report.history), hasProblems);
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
