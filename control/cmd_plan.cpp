// plan: what an upgrade would do now. It is the plan that vgupgrader executes, and changes nothing.
#include "upgrader/plan.h"

#include <map>
#include <set>
#include <utility>

#include "control/command.h"
#include "control/preflight.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/settings.h"
#include "platform/settings/settings_files.h"
#include "upgrader/repair.h"

namespace {

// A flag that cannot be read (logged) fails its migration, which then runs.
const char* VerdictOf(const Migration& info) {
    if (info.state == MigrationState::Empty)
        return "empty";
    return info.flag && IsSettingConfKeyExist(info.flag) ? "done" : "runs";
}

Json::Value ArrayOf(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts)
        array.append(text);
    return array;
}

std::string WhyNotRepaired(const DatabaseRepair& repair) {
    const std::string why = WhyUnreadable(repair.db, VGDB::Probe(repair.db));
    return (why.empty() ? "its schema file cannot be read" : why) + ": it will be left as it is";
}

Json::Value ToJson(const DatabaseRepair& repair) {
    Json::Value object(Json::objectValue);
    object["database"] = VGDB::GetDBName(repair.db);
    object["missing"] = Json::Value(Json::objectValue);
    for (const auto& [table, names] : repair.differences.names)
        object["missing"][table] = ArrayOf({names.begin(), names.end()});
    object["sql"] = repair.differences.sql;
    object["adds"] = ArrayOf(InWords(repair.differences));
    object["cannot_add"] = ArrayOf(repair.differences.columnsNotAddable);
    if (!repair.known)
        object["problem"] = WhyNotRepaired(repair);
    return object;
}

Json::Value ToJson(const std::vector<Migration>& migrations) {
    Json::Value array(Json::arrayValue);
    for (const Migration& migration : migrations) {
        Json::Value& entry = array.append(Json::objectValue);
        entry["row"] = migration.number;
        entry["name"] = migration.name;
        entry["threshold"] = migration.threshold;
        entry["state"] = StateName(migration.state);
        entry["verdict"] = VerdictOf(migration);
        entry["concerns"] = migration.concerns;
    }
    return array;
}

Json::Value ToJson(const Plan& plan, const Record::Facts& facts, const Stamp& stamp) {
    Json::Value result(Json::objectValue);
    result["old_build"] = plan.oldBuild;
    result["version"] = stamp.version;
    result["stamp"] = stamp.found > 0 ? Json::Value(stamp.text) : Json::Value();
    result["second_time"] = stamp.build && plan.oldBuild < *stamp.build && !facts.oldBuild;
    result["running"] = FindRunning();
    result["interrupted"] = Json::Value();
    if (facts.oldBuild)
        result["interrupted"]["old_build"] = *facts.oldBuild;
    result["owed_keys"] = Json::UInt64{facts.keys.size()};
    result["owed_entries"] = Json::Int64{facts.entries};
    result["owed"] = Json::Int64{static_cast<long long>(facts.keys.size()) + facts.entries};
    result["repair"] = Json::Value(Json::arrayValue);
    for (const DatabaseRepair& repair : plan.repairs)
        if (!repair.known || !repair.differences.sql.empty() || !repair.differences.columnsNotAddable.empty())
            result["repair"].append(ToJson(repair));
    SettingsFiles::Current().Collect(facts.keys);  // what is owed is delivered before the first migration
    result["migrations"] = ToJson(plan.migrations);
    const std::vector<DiskNeed> disks = FindDiskNeeds(plan);
    result["disk"] = Json::Value(Json::arrayValue);
    for (const DiskNeed& disk : disks) {
        Json::Value& entry = result["disk"].append(Json::objectValue);
        entry["filesystem"] = disk.fileSystem;
        entry["needed"] = Json::UInt64{disk.needed};
        entry["free"] = Json::UInt64{disk.free};
    }
    result["preflight"] = ArrayOf(FindObstacles(plan, disks));
    return result;
}

std::string PrintSql(const Json::Value& repairs) {
    std::string text;
    for (const Json::Value& repair : repairs)
        if (const std::string sql = repair["sql"].asString(); !sql.empty())
            text += "-- " + repair["database"].asString() + '\n' + sql + (sql.ends_with('\n') ? "" : "\n");
    return text;
}

std::string PrintRepair(const Json::Value& repairs) {
    if (repairs.empty())
        return "Schema: nothing is missing.\n";
    TextTable table({"database", "adds"}, 2);
    for (const Json::Value& repair : repairs) {
        std::string database = repair["database"].asString();
        if (repair.isMember("problem"))
            table.Add({std::exchange(database, ""), {repair["problem"].asString(), Tone::Bad}});
        for (const Json::Value& column : repair["cannot_add"])
            table.Add({std::exchange(database, ""), {"cannot be added: " + column.asString(), Tone::Bad}});
        std::vector<std::string> adds;
        for (const Json::Value& words : repair["adds"])
            adds.push_back(words.asString());
        for (const std::string& text : GroupedByKind(adds, " "))
            table.Add({std::exchange(database, ""), text});
    }
    return Toned(Tone::Strong, "Schema") + " (plan --sql prints the statements)\n" + table.ToString();
}

// "runs", "sets its key" for one that does nothing more, "done".
std::string VerdictInWords(const Json::Value& migration) {
    const std::string verdict = migration["verdict"].asString();
    return verdict == "runs" && migration["state"] == "flag" ? "sets its key" : verdict;
}

std::string PrintMigrations(const Json::Value& migrations) {
    std::map<std::string, unsigned> counts;
    TextTable table({">number", "name", "verdict", "concerns"}, 2);
    for (const Json::Value& migration : migrations) {
        const std::string verdict = VerdictInWords(migration);
        ++counts[verdict];
        if (verdict == "runs")
            ++counts[migration["state"].asString()];
        if (verdict != "empty")
            table.Add({std::to_string(migration["row"].asInt()),
                       migration["name"].asString(),
                       {verdict, verdict == "runs" ? Tone::Strong : Tone::Faint},
                       migration["concerns"].asString()});
    }
    static constexpr std::pair<const char*, const char*> kSums[] = {
        {"body", " run"},
        {"partial", " run and do a part of their work"},
        {"library", " run in the package's libraries"},
        {"sets its key", " only set their key"},
        {"done", " were done before"},
        {"empty", " do nothing"}};
    std::vector<std::string> sums;
    for (const auto& [name, words] : kSums)
        if (counts[name] > 0)
            sums.push_back(std::to_string(counts[name]) + words);
    return Toned(Tone::Strong, "Migrations") + '\n' +
           Paragraph(std::to_string(migrations.size()) + " are due: " + JoinStrings(sums, ", ") + '.') +
           table.ToString();
}

std::string PrintDisk(const Json::Value& disks) {
    if (disks.empty())
        return "";
    TextTable table({">needed", ">free", "on the disk of"}, 2);
    for (const Json::Value& disk : disks) {
        const uint64_t needed = disk["needed"].asUInt64(), free = disk["free"].asUInt64();
        table.Add({InBytes(needed),
                   {InBytes(free), needed > free ? Tone::Bad : Tone::Plain},
                   disk["filesystem"].asString()});
    }
    return Toned(Tone::Strong, "Disk") + ": what may be needed at the most\n" + table.ToString();
}

// What keeps it from getting through, first.
std::string PrintPreflight(const Json::Value& lines) {
    if (lines.empty())
        return "Nothing is in its way.\n";
    TextTable table({""}, 2);
    for (const Json::Value& line : lines)
        table.Add({{line.asString(), Tone::Bad}});
    return Toned(Tone::Bad, "In its way") + '\n' + table.ToString();
}

class PlanCommand : public Command {
public:
    PlanCommand() : Command("plan", "What an upgrade from OLD-BUILD would do now", Access::Reads) {
        m_options = {
            {"[OLD-BUILD]", &m_oldBuild, kOldBuildHelp},
            {"--sql", &m_sql, "Print the statements of the schema repair alone"},
            {"--schema DIR", &m_schema, "Plan for the schema files of a package that is not installed yet"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    std::string m_oldBuild;
    bool m_sql = false;
    std::string m_schema;
};

}  // namespace

Outcome PlanCommand::Run(const General& /*general*/) {
    if (std::string problem = WhatIsWrongWithSchema(m_schema); !problem.empty())
        return Outcome::Refused(std::move(problem));
    const VGDB::DBState state = VGDB::Probe(DB_SYSTEM);
    Record::Facts facts;
    const bool isKnown = state == VGDB::DBState::Usable
                             ? Record::Read(facts) == 0
                             : state != VGDB::DBState::Busy && state != VGDB::DBState::Unreadable;
    if (!isKnown && !VGDB::IsDamaged(DB_SYSTEM))
        return Outcome::Refused(
            "What an upgrade would do cannot be told: " + VGDB::GetDBPath(DB_SYSTEM) + ' ' +
            WhyUnreadable(DB_SYSTEM, state == VGDB::DBState::Usable ? VGDB::DBState::Unreadable : state));
    if (std::string why; Record::ReadMarked(facts, why))
        return Outcome::Refused(std::move(why));
    uint32_t build = 0;
    if (std::string error = FindOldBuild(m_oldBuild, facts, build); !error.empty())
        return Outcome::Refused(std::move(error));
    Plan plan = PlanMigrations(build, facts);
    PlanRepair(plan, m_schema);
    Stamp stamp = FindStamp();
    if (!m_schema.empty())
        stamp.version = kBuiltVersion;  // package.conf is still the old package's
    Json::Value result = ToJson(plan, facts, stamp);
    const bool hasObstacles = !result["preflight"].empty() && result["running"].isNull();
    return Outcome::Done(std::move(result), hasObstacles);
}

std::string PlanCommand::Print(const Json::Value& result) const {
    if (m_sql)
        return PrintSql(result["repair"]);
    const std::string from = std::to_string(result["old_build"].asUInt());
    std::string text =
        Paragraph("Upgrade from build " + from + " to " + Escaped(result["version"].asString()) +
                  ", nothing is changed by this look.");
    text += PrintPreflight(result["preflight"]);
    if (result["interrupted"].isObject())
        text +=
            Paragraph("An upgrade from build " + std::to_string(result["interrupted"]["old_build"].asUInt()) +
                          " was interrupted; this one finishes it.",
                      Tone::Bad);
    if (result["second_time"].asBool())
        text += Paragraph("The settings are stamped " + Escaped(result["stamp"].asString()) +
                              ", this upgrade begins at build " + from +
                              ": what was converted since then would be converted a second time.",
                          Tone::Bad);
    if (result["owed"].asUInt64() > 0)
        text += Paragraph("First delivers what is owed: " +
                          Counted(result["owed_keys"].asUInt64(), "settings key", "settings keys") + ", " +
                          Counted(result["owed_entries"].asUInt64(), "log entry", "log entries") + ".");
    return text + PrintRepair(result["repair"]) + PrintMigrations(result["migrations"]) +
           PrintDisk(result["disk"]);
}

std::unique_ptr<Command> MakePlan() { return std::make_unique<PlanCommand>(); }
