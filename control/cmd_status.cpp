// status: the last upgrade, what it has left, and the command to type next.
//
// What matters most comes first: a process that works on the package now, a restore that is not finished, an upgrade
// that was interrupted, rows that failed, effects that are owed.
#include <vector>

#include "control/command.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/paths.h"
#include "upgrader/history.h"
#include "upgrader/lock.h"
#include "upgrader/record.h"
#include "upgrader/restore_mark.h"

namespace {

constexpr const char* kMissing = "missing";
constexpr const char* kUnreadable = "unreadable";

const char* InWords(Record::State state) {
    switch (state) {
        case Record::State::Usable:
            return "usable";
        case Record::State::None:
            return kMissing;
        case Record::State::SetAside:
            break;
    }
    return kUnreadable;
}

// The command that brings the system on; null when there is nothing to type, or another process works on it.
Json::Value NextOf(const Json::Value& status, const std::vector<FailedMigration>& failed) {
    if (!status["running"].isNull())
        return {};
    if (status["restoring"].isString())
        return "vgupgradectl restore " + status["restoring"].asString();
    if (status["main_database"] == kUnreadable)
        return "vgupgradectl check";
    if (status["interrupted"].isObject())
        return "vgupgrader " + std::to_string(status["interrupted"]["old_build"].asUInt());
    const bool canRetry = !failed.empty() && failed.front().number;
    if (canRetry || status["owed"].asUInt64() > 0)
        return "vgupgradectl retry";
    // It failed where the main database takes no record.
    const Json::Value& last = status["last"];
    if (failed.empty() && last.isObject() && last["status"].isInt() && last["status"] != 0)
        return last["old_build"].isUInt() ? "vgupgrader " + std::to_string(last["old_build"].asUInt())
                                          : "vgupgradectl check";
    return {};
}

bool HasProblems(const Json::Value& status) {
    const Json::Value& last = status["last"];
    return status["restoring"].isString() || status["interrupted"].isObject() ||
           status["main_database"] == kUnreadable || !status["failed"].empty() ||
           status["owed"].asUInt64() > 0 ||
           (last.isObject() && last["status"].isInt() && last["status"] != 0);
}

std::string Sentence(const Json::Value& last) {
    if (!last.isObject())
        return "No upgrade is noted.";
    if (const std::string name = RestoredOf(last); !name.empty())
        return "Last: restore of " + Escaped(name) + ", " + Escaped(TextOf(last, "at")) + ".";
    const RunTotals totals = TotalsOf(last);
    return "Last: " + WhatOf(last) + " to " + Escaped(TextOf(last, "version")) + ", " +
           Escaped(TextOf(last, "started")) + ", " +
           (totals.failed == 0 ? "nothing failed." : std::to_string(totals.failed) + " failed.");
}

class Status : public Command {
public:
    Status()
        : Command("status", "The last upgrade, what it has left, and the command to type next",
                  Access::Reads) {
        m_whileRestoring = true;
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;
};

}  // namespace

Outcome Status::Run(const General& /*general*/) {
    Json::Value status(Json::objectValue);
    std::vector<Json::Value> history;
    (void)ReadHistory(history);  // logged
    status["last"] = history.empty() ? Json::Value() : history.back();

    const int holder = UpgradeLock::Holder();
    status["running"] = holder > 0 ? Json::Value(holder) : Json::Value();
    std::string snapshot;
    const int restoring = FindUnfinishedRestore(snapshot);
    status["restoring"] = restoring == 0 ? Json::Value() : Json::Value(snapshot);

    Record::Facts facts;
    status["main_database"] = InWords(Record::Open(facts));
    status["interrupted"] = Json::Value();
    if (facts.oldBuild && holder == 0)
        status["interrupted"]["old_build"] = *facts.oldBuild;
    status["owed_keys"] = Json::UInt64{facts.keys.size()};
    status["owed_entries"] = Json::Int64{facts.entries};
    status["owed"] = Json::Int64{static_cast<long long>(facts.keys.size()) + facts.entries};
    const std::vector<FailedMigration> failed = FindFailed(facts);
    status["failed"] = ToJson(failed);
    status["next"] = NextOf(status, failed);
    const bool hasProblems = HasProblems(status);
    return Outcome::Done(std::move(status), hasProblems);
}

std::string Status::Print(const Json::Value& result) const {
    std::string text;
    const auto say = [&text](Tone tone, const std::string& line) { text += Toned(tone, line) + '\n'; };
    if (!result["running"].isNull())
        say(Tone::Strong, "Process " + std::to_string(result["running"].asInt()) +
                              " works on this package now: an upgrade, a snapshot or a restore.");
    if (result["restoring"].isString())
        say(Tone::Bad,
            "The restore of snapshot " + Escaped(result["restoring"].asString()) + " is not finished.");
    if (result["main_database"] == kUnreadable)
        say(Tone::Bad,
            "The main database cannot be read; whether an upgrade was interrupted cannot be told.");
    if (result["interrupted"].isObject())
        say(Tone::Bad, "An upgrade from build " +
                           std::to_string(result["interrupted"]["old_build"].asUInt()) + " was interrupted.");
    if (!result["failed"].empty()) {
        say(Tone::Bad, "Failed, and not repaired since:");
        TextTable table({">", ""}, 2);
        for (const Json::Value& row : result["failed"])
            table.Add({row["row"].isNull() ? "-" : std::to_string(row["row"].asUInt()),
                       row["name"].asString() +
                           (row["row"].isNull() ? " (this version has no such migration any more)" : "")});
        text += table.ToString();
    }
    if (result["owed"].asUInt64() > 0)
        say(Tone::Bad, "Owed: " + Counted(result["owed_keys"].asUInt64(), "settings key", "settings keys") +
                           ", " + Counted(result["owed_entries"].asUInt64(), "log entry", "log entries") +
                           ".");
    const std::string last = Sentence(result["last"]);
    if (result["main_database"] == kMissing)
        say(Tone::Strong, "There is no main database, and nothing to upgrade in it.");
    if (text.empty() && result["next"].isNull())
        return Toned(Tone::Good, "Healthy.") + ' ' + last + '\n';
    text += last + '\n';
    if (result["next"].isString())
        text += "Next: " + Toned(Tone::Strong, Escaped(result["next"].asString())) + '\n';
    return text;
}

std::unique_ptr<Command> MakeStatus() { return std::make_unique<Status>(); }
