// status: whether an upgrade is due, runs, or was interrupted; what the last one has left, and the command to type next.
//
// What matters most comes first: a process that works on the package now, a restore that is not finished, a main
// database that cannot be read, an upgrade that was interrupted or is due, migrations that failed, effects that are
// owed, databases that were not repaired. While an upgrade runs nothing of it is a problem.
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "control/command.h"
#include "control/status_formats.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_replacement.h"
#include "upgrader/history.h"
#include "upgrader/plan.h"
#include "upgrader/restore_mark.h"

namespace {

constexpr std::string_view kPrometheus = "prometheus", kPlugin = "plugin";

const char* NameOf(VGDB::DBState state) {
    static constexpr const char* kNames[] = {"usable", "missing", "damaged", "held", "unreadable"};
    if (state == VGDB::DBState::Unreadable && VGDB::IsDamaged(DB_SYSTEM))
        state = VGDB::DBState::NotADatabase;
    return kNames[static_cast<size_t>(state)];
}

// Whether the database lacks something of its schema file, or it cannot be told.
bool LacksSomething(DB_INSTANCE db) {
    const std::string path = VGDB::GetDBPath(db);
    VGDB::SchemaDifferences differences;
    return VGDB::CompareSchema(path, VGDB::GetSqlFile(path), differences) != 0 ||
           !differences.tablesNotAddable.empty() || !differences.columnsNotAddable.empty() ||
           !differences.sql.empty();
}

bool LacksSomething() {
    for (int number = 0; number < DB_INSTANCE_COUNT; ++number) {
        const auto db = static_cast<DB_INSTANCE>(number);
        if (VGDB::Probe(db) == VGDB::DBState::Usable && LacksSomething(db))
            return true;
    }
    return false;
}

// Of the databases that the last run could not repair, those that still lack something.
Json::Value NotRepaired(const std::vector<Json::Value>& history) {
    Json::Value databases(Json::arrayValue);
    for (auto object = history.rbegin(); object != history.rend(); ++object) {
        if (!RestoredOf(*object).empty())
            continue;
        for (const Json::Value& database : (*object)["not_repaired"])
            for (int number = 0; number < DB_INSTANCE_COUNT; ++number)
                if (const auto db = static_cast<DB_INSTANCE>(number);
                    database == VGDB::GetDBName(db) && LacksSomething(db))
                    databases.append(database);
        break;
    }
    return databases;
}

// Whether an upgrade can repair one of them now.
bool CanBeRepaired(const Json::Value& databases) {
    for (int number = 0; number < DB_INSTANCE_COUNT; ++number) {
        const std::string path = VGDB::GetDBPath(static_cast<DB_INSTANCE>(number));
        VGDB::SchemaDifferences differences;
        for (const Json::Value& database : databases)
            if (database == VGDB::GetDBName(static_cast<DB_INSTANCE>(number)) &&
                VGDB::CompareSchema(path, VGDB::GetSqlFile(path), differences) == 0)
                return true;
    }
    return false;
}

// The last upgrade failed where the main database takes no record.
bool LastFailed(const Json::Value& status) {
    const Json::Value& last = status["last"];
    return last.isObject() && last["status"].isInt() && last["status"] != 0;
}

bool CannotBeRead(const Json::Value& status) {
    const std::string main = status["main_database"].asString();
    return main != "usable" && main != "missing";
}

std::string UpgradeFrom(const Json::Value& build) {
    return CommandLine("vgupgrader", {std::to_string(build.asUInt())});
}

// The command that brings the system on; null when there is nothing to type, or another process works on it.
Json::Value NextOf(const Json::Value& status, const Stamp& stamp) {
    if (!status["running"].isNull())
        return {};
    if (status["restoring"].isString())
        return CommandLine("vgupgradectl", {"restore", status["restoring"].asString()});
    if (CannotBeRead(status))
        return CommandLine("vgupgradectl", {"check"});
    if (status["interrupted"].isObject())
        return UpgradeFrom(status["interrupted"]["old_build"]);
    if (stamp.isNewer)
        return {};
    bool canRetry = status["owed"].asUInt64() > 0;
    for (const Json::Value& failed : status["failed"])
        canRetry = canRetry || !failed["row"].isNull();
    if (canRetry)
        return CommandLine("vgupgradectl", {"retry"});
    if (stamp.isOlder)
        return UpgradeFrom(*stamp.build);
    if (status["failed"].empty() && LastFailed(status) && status["last"]["old_build"].isUInt())
        return UpgradeFrom(status["last"]["old_build"]);
    if (stamp.build && CanBeRepaired(status["not_repaired"]))
        return UpgradeFrom(*stamp.build);
    return LastFailed(status) || !status["not_repaired"].empty() ? CommandLine("vgupgradectl", {"check"})
                                                                 : Json::Value();
}

bool HasProblems(const Json::Value& status) {
    return status["running"].isNull() &&
           (status["restoring"].isString() || status["interrupted"].isObject() ||
            !status["marker_problem"].asString().empty() || CannotBeRead(status) || status["due"].asBool() ||
            status["newer"].asBool() || !status["failed"].empty() || status["owed"].asUInt64() > 0 ||
            !status["not_repaired"].empty() || LastFailed(status));
}

// --- as text ------------------------------------------------------------------------------------------------

std::string LastInWords(const Json::Value& last) {
    if (!last.isObject())
        return "No upgrade is noted.";
    if (const std::string name = RestoredOf(last); !name.empty())
        return "Last: restore of " + Escaped(name) + ", " + Escaped(TextOf(last, "at")) + ".";
    const RunTotals totals = TotalsOf(last);
    return "Last: " + WhatOf(last) + " to " + Escaped(TextOf(last, "version")) + ", " +
           Escaped(TextOf(last, "started")) + ", " +
           (totals.failed == 0 ? "nothing failed." : std::to_string(totals.failed) + " failed.");
}

std::string DueInWords(const Json::Value& status) {
    const std::string to = "An upgrade to " + Escaped(status["version"].asString()) + " is due: ";
    return status["stamp"].isNull()
               ? to + "no upgrade has stamped the settings, and the schema lacks something."
               : to + "the data are of " + Escaped(status["stamp"].asString()) + ".";
}

std::string PrintFailed(const Json::Value& failed) {
    if (failed.empty())
        return "";
    TextTable table({"", ""}, 2);
    for (const Json::Value& one : failed) {
        const bool known = !one["row"].isNull();
        table.Add({(known ? '[' + std::to_string(one["row"].asUInt()) + "] " : "") + one["name"].asString(),
                   known ? TextOf(one, "reason") : "this version has no such migration any more"});
    }
    return Paragraph("Failed, and not repaired since:", Tone::Bad) + table.ToString();
}

std::string PrintProblems(const Json::Value& status) {
    std::string text;
    const auto sayIf = [&text](bool is, const std::string& line) {
        text += is ? Paragraph(line, Tone::Bad) : "";
    };
    sayIf(status["restoring"].isString(),
          "The restore of snapshot " + Escaped(TextOf(status, "restoring")) + " is not finished.");
    sayIf(CannotBeRead(status), "The main database " + TextOf(status, "main_database_problem") +
                                    ": whether an upgrade was interrupted cannot be told.");
    const std::string marker = TextOf(status, "marker_problem");
    sayIf(!marker.empty(), Escaped(marker) + ". No upgrade begins until then.");
    sayIf(status["interrupted"].isObject(), "An upgrade from build " +
                                                std::to_string(status["interrupted"]["old_build"].asUInt()) +
                                                " was interrupted, or could not begin.");
    sayIf(status["newer"].asBool(),
          Escaped(NewerInWords(TextOf(status, "stamp"), status["version"].asString())));
    sayIf(status["due"].asBool(), DueInWords(status));
    text += PrintFailed(status["failed"]);
    sayIf(status["owed"].asUInt64() > 0,
          "Owed: " + Counted(status["owed_keys"].asUInt64(), "settings key", "settings keys") + ", " +
              Counted(status["owed_entries"].asUInt64(), "log entry", "log entries") + ".");
    std::vector<std::string> notRepaired;
    for (const Json::Value& database : status["not_repaired"])
        notRepaired.push_back(database.asString());
    sayIf(!notRepaired.empty(), "Not repaired: " + JoinStrings(notRepaired, ", ") + ".");
    return text;
}

class Status : public Command {
public:
    Status()
        : Command("status", "Whether an upgrade is due, runs or failed, and what to type next",
                  Access::Reads) {
        m_whileRestoring = true;
        m_options = {
            {"--format prometheus|plugin", &m_format, "Print it for a monitoring system"},
            {"--output FILE", &m_output, "Write it to this file (with --format prometheus)"},
            {"--warn SECONDS", &m_warn, "Warn when an upgrade runs longer (3600, with --format plugin)"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    Outcome Look();

    std::string m_format;
    std::string m_output;
    unsigned m_warn = 3600;
    std::vector<Json::Value> m_history;
};

// The file is for a process with fewer rights: numbers and versions are in it.
bool WriteForAll(const std::string& file, const std::string& text) {
    std::error_code error;
    const std::string path = std::filesystem::absolute(file, error);
    return !error && ReplaceFile(path, text, 0644) == 0 && chmod(path.c_str(), 0644) == 0;
}

}  // namespace

Outcome Status::Run(const General& general) {
    const bool isPlugin = m_format == kPlugin;
    if (!m_format.empty() && general.json)
        return Outcome::Refused("--json is a format of its own");
    if (!m_output.empty() && m_format != kPrometheus)
        return Outcome::Refused("--output is for --format prometheus");
    Outcome outcome = Look();
    if (!outcome.error.empty() || m_format.empty())
        return outcome;
    outcome.status = isPlugin ? PluginLine(outcome.result, m_history, m_warn).status : 0;
    if (!m_output.empty() && !WriteForAll(m_output, PrometheusText(outcome.result, m_history)))
        return Outcome::Refused("Cannot write " + m_output);
    return outcome;
}

Outcome Status::Look() {
    Json::Value status(Json::objectValue);
    const std::vector<Json::Value>& history = m_history;
    (void)ReadHistory(m_history);  // logged
    status["last"] = history.empty() ? Json::Value() : history.back();
    status["running"] = FindRunning();
    const bool isRunning = !status["running"].isNull();
    std::string snapshot;
    const int restoring = FindUnfinishedRestore(snapshot);
    if (restoring < 0)
        return Outcome::Refused("It cannot be told whether a restore is unfinished.");
    status["restoring"] = restoring == 0 ? Json::Value() : Json::Value(snapshot);

    const Stamp stamp = FindStamp();
    if (stamp.found < 0)
        return Outcome::Refused("The settings cannot be read: " + ResolvePath(kSettingsConf));
    status["version"] = stamp.version;
    status["stamp"] = stamp.found > 0 ? Json::Value(stamp.text) : Json::Value();
    status["newer"] = stamp.isNewer;

    const VGDB::DBState state = VGDB::Probe(DB_SYSTEM);
    status["main_database"] = NameOf(state);
    status["main_database_problem"] = WhyUnreadable(DB_SYSTEM, state);
    Record::Facts facts;
    const bool isKnown = state == VGDB::DBState::Usable && Record::Read(facts) == 0;
    std::string foreignMarker;
    (void)Record::ReadMarked(facts, foreignMarker);  // of an upgrade that could not begin
    status["marker_problem"] = foreignMarker;
    status["interrupted"] = Json::Value();
    if (facts.oldBuild && !isRunning)
        status["interrupted"]["old_build"] = *facts.oldBuild;
    status["due"] = !isRunning && (stamp.found > 0 ? stamp.isOlder : LacksSomething());
    status["owed_keys"] = Json::UInt64{facts.keys.size()};
    status["owed_entries"] = Json::Int64{facts.entries};
    status["owed"] = isKnown || state == VGDB::DBState::Missing
                         ? Json::Value(Json::Int64{static_cast<long long>(facts.keys.size()) + facts.entries})
                         : Json::Value();
    status["failed"] = ToJson(FindFailed(facts), history);
    status["not_repaired"] = NotRepaired(history);
    status["next"] = NextOf(status, stamp);
    const bool hasProblems = HasProblems(status);
    return Outcome::Done(std::move(status), hasProblems);
}

std::string Status::Print(const Json::Value& result) const {
    if (m_format == kPlugin)
        return PluginLine(result, m_history, m_warn).line;
    if (m_format == kPrometheus)
        return m_output.empty() ? PrometheusText(result, m_history) : "";
    const bool isRunning = !result["running"].isNull();
    std::string text =
        isRunning ? Paragraph(RunningInWords(result["running"]), Tone::Strong) : PrintProblems(result);
    const std::string last = LastInWords(result["last"]);
    if (text.empty() && result["main_database"] != "missing")
        return Paragraph("Healthy. " + last, Tone::Good);
    text += Paragraph(last);
    if (result["main_database"] == "missing")
        text += Paragraph("There is no main database, and nothing to upgrade in it.", Tone::Strong);
    if (result["next"].isString())
        text += "Next: " + Toned(Tone::Strong, Escaped(result["next"].asString())) + '\n';
    else if (result["due"].asBool() && !isRunning)
        text += "Next: " + Toned(Tone::Strong, CommandLine("vgupgrader", {}) + " OLD-BUILD") +
                ", the build that was installed before\n";
    return text;
}

std::unique_ptr<Command> MakeStatus() { return std::make_unique<Status>(); }
