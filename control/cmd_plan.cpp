// plan: what an upgrade would do now. It is the plan that vgupgrader executes, and changes nothing.
#include "upgrader/plan.h"

#include <map>
#include <set>
#include <utility>

#include "control/command.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"
#include "upgrader/disk_need.h"
#include "upgrader/repair.h"

namespace {

// The keys of settings.conf as the rows will find them: what is owed is delivered before the first one.
std::set<std::string> KeysThatStand(const Record::Facts& facts) {
    std::map<std::string, std::string> values;
    (void)VGFileGetAll(kSettingsConf,
                       values);  // unreadable (logged): then every guard fails, and its row runs
    std::set<std::string> keys;
    for (const auto& [key, value] : values)
        keys.insert(key);
    for (const KeyChange& change : facts.keys) {
        if (change.file != kSettingsConf)
            continue;
        if (change.value)
            keys.insert(change.key);
        else
            keys.erase(change.key);
    }
    return keys;
}

const char* VerdictOf(const Migration& info, const std::set<std::string>& keys) {
    if (info.state == MigrationState::Empty)
        return "empty";
    return info.flag && keys.contains(info.flag) ? "done" : "runs";
}

Json::Value RepairToJson(const DatabaseRepair& repair) {
    Json::Value object(Json::objectValue);
    object["database"] = VGDB::GetDBName(repair.db);
    object["missing"] = Json::Value(Json::objectValue);
    for (const auto& [table, names] : repair.differences.names)
        for (const std::string& name : names)
            object["missing"][table].append(name);
    object["sql"] = repair.differences.sql;
    object["adds"] = Json::Value(Json::arrayValue);
    for (const std::string& words : InWords(repair.differences))
        object["adds"].append(words);
    if (!repair.known)
        object["problem"] = "the database or its schema file cannot be read, it will be left as it is";
    return object;
}

Json::Value ToJson(const Plan& plan, const Record::Facts& facts) {
    Json::Value result(Json::objectValue);
    result["old_build"] = plan.oldBuild;
    result["version"] = GetVGPkgVersion(true);
    result["interrupted"] = Json::Value();
    if (facts.oldBuild)
        result["interrupted"]["old_build"] = *facts.oldBuild;
    result["owed_keys"] = Json::UInt64{facts.keys.size()};
    result["owed_entries"] = Json::Int64{facts.entries};
    result["owed"] = Json::Int64{static_cast<long long>(facts.keys.size()) + facts.entries};
    result["repair"] = Json::Value(Json::arrayValue);
    for (const DatabaseRepair& repair : plan.repairs)
        if (!repair.known || !repair.differences.sql.empty())
            result["repair"].append(RepairToJson(repair));
    result["migrations"] = Json::Value(Json::arrayValue);
    const std::set<std::string> keys = KeysThatStand(facts);
    for (const Migration& row : plan.migrations) {
        Json::Value& entry = result["migrations"].append(Json::objectValue);
        entry["row"] = row.number;
        entry["name"] = row.name;
        entry["threshold"] = row.threshold;
        entry["state"] = StateName(row.state);
        entry["verdict"] = VerdictOf(row, keys);
        entry["concerns"] = row.concerns;
    }
    result["disk"] = Json::Value(Json::arrayValue);
    for (const DiskNeed& disk : FindDiskNeeds(plan)) {
        Json::Value& entry = result["disk"].append(Json::objectValue);
        entry["filesystem"] = disk.fileSystem;
        entry["needed"] = Json::UInt64{disk.needed};
        entry["free"] = Json::UInt64{disk.free};
    }
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
        std::vector<std::string> adds;
        for (const Json::Value& words : repair["adds"])
            adds.push_back(words.asString());
        for (const std::string& text : GroupedByKind(adds, " "))
            table.Add({std::exchange(database, ""), text});
    }
    return Toned(Tone::Strong, "Schema") + " (plan --sql prints the statements)\n" + table.ToString();
}

std::string PrintRows(const Json::Value& rows) {
    std::map<std::string, unsigned> counts;
    TextTable table({">row", "name", "verdict", "concerns"}, 2);
    for (const Json::Value& row : rows) {
        const std::string verdict = row["verdict"].asString();
        ++counts[verdict];
        if (verdict != "empty")
            table.Add({std::to_string(row["row"].asInt()),
                       row["name"].asString(),
                       {verdict, verdict == "runs" ? Tone::Strong : Tone::Faint},
                       row["concerns"].asString()});
    }
    return Toned(Tone::Strong, "Migrations") +
           StringPrintf(": %u due; %u run, %u were done before, %u do nothing\n", rows.size(), counts["runs"],
                        counts["done"], counts["empty"]) +
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

class PlanCommand : public Command {
public:
    PlanCommand() : Command("plan", "What an upgrade from OLD-BUILD would do now", Access::Reads) {
        m_options = {{"[OLD-BUILD]", &m_oldBuild, kOldBuildHelp},
                     {"--sql", &m_sql, "Print the statements of the schema repair alone"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    std::string m_oldBuild;
    bool m_sql = false;
};

}  // namespace

Outcome PlanCommand::Run(const General& /*general*/) {
    Record::Facts facts;
    if (Record::Open(facts) == Record::State::SetAside)
        return Outcome::Refused("What an upgrade would do cannot be told: " + VGDB::GetDBPath(DB_SYSTEM) +
                                " cannot be read (vgupgradectl check tells more).");
    uint32_t build = 0;
    if (std::string error = FindOldBuild(m_oldBuild, facts, build); !error.empty())
        return Outcome::Refused(std::move(error));
    Plan plan = PlanMigrations(build, facts);
    PlanRepair(plan);
    return Outcome::Done(ToJson(plan, facts));
}

std::string PlanCommand::Print(const Json::Value& result) const {
    if (m_sql)
        return PrintSql(result["repair"]);
    std::string text = "Upgrade from build " + std::to_string(result["old_build"].asUInt()) + " to " +
                       Escaped(result["version"].asString()) + ", nothing is changed by this look.\n";
    if (result["interrupted"].isObject())
        text += Toned(Tone::Bad, "An upgrade from build " +
                                     std::to_string(result["interrupted"]["old_build"].asUInt()) +
                                     " was interrupted; this one finishes it.") +
                '\n';
    if (result["owed"].asUInt64() > 0)
        text += "First delivers what is owed: " +
                Counted(result["owed_keys"].asUInt64(), "settings key", "settings keys") + ", " +
                Counted(result["owed_entries"].asUInt64(), "log entry", "log entries") + ".\n";
    return text + PrintRepair(result["repair"]) + PrintRows(result["migrations"]) + PrintDisk(result["disk"]);
}

std::unique_ptr<Command> MakePlan() { return std::make_unique<PlanCommand>(); }
