// rehearse: what an upgrade would do, found out by doing it on a copy.
//
//   1. Plan, to know from which build and how much room it needs.
//   2. Copy the system, or a snapshot, twice, under the upgrade lock.
//   3. Run the program on one copy, and watch what each migration does.
//   4. Compare the copies: rows, schema, settings keys, owners, other files, log entries.
//   5. Read what the program tells: its log, its history, and what was watched.
#include <unistd.h>

#include <cmath>
#include <filesystem>

#include "control/command.h"
#include "control/rehearse/compare.h"
#include "control/rehearse/rehearsal.h"
#include "control/rehearse/report.h"
#include "control/rehearse/scope.h"
#include "control/rehearse/watched.h"
#include "control/snapshot/command.h"
#include "control/upgrades.h"
#include "platform/base/json.h"
#include "platform/base/local_time.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/disk_need.h"
#include "upgrader/lock.h"
#include "upgrader/plan.h"
#include "upgrader/restore_mark.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kMessages = 200;  // of the package log, unless all is to be shown
constexpr uint64_t kInFull =
    50;  // rows at least that a watched upgrade tells in full, so that samples can be chosen

class Rehearse : public Command {
public:
    Rehearse() : Command("rehearse", "Runs the upgrade on a copy, and shows what it changes", Access::Asks) {
        m_options = {
            {"[OLD-BUILD]", &m_oldBuild, kOldBuildHelp},
            {"--from SNAPSHOT", &m_from, "Run it on a copy of this snapshot"},
            PlaceOption(&m_place, "The folder that the snapshot was saved in"),
            {"--schema DIR", &m_schema, "With the schema files of a package that is not installed yet"},
            {"--work DIR", &m_work, "Make the copy in this folder (beside the snapshots)"},
            {"--keep", &m_keep, "Leave the copy there"},
            {"--upgrader PATH", &m_upgrader, "Run this program (the vgupgrader beside this one)"}};
        m_show.AddTo(m_options);
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override {
        return AsText(RehearsalReport(result, m_show.full));
    }

private:
    std::string WhatIsWrong() const;
    std::string Prepare(const General& general, Rehearsal& rehearsal, uint32_t& build) const;
    std::string FindSnapshot(std::string& folder, std::string& oldBuild) const;
    std::string Describe(const Rehearsal& rehearsal, uint32_t build, Json::Value& result) const;

    std::string m_oldBuild, m_from, m_place, m_schema, m_work, m_upgrader;
    bool m_keep = false;
    ScopeOptions m_show;
};

// The vgupgrader beside this program.
std::string FindUpgrader(const std::string& given) {
    std::error_code error;
    const fs::path path = given.empty()
                              ? fs::read_symlink("/proc/self/exe", error).parent_path() / "vgupgrader"
                              : fs::absolute(given, error);
    return error ? given : path.native();
}

// What the upgrade would do as far as it can be told beforehand; '' or why not.
std::string MakePlan(const std::string& oldBuild, uint32_t& build, uint64_t& room) {
    VGDB::OpenReadOnly();
    Record::Facts facts;
    std::string why;
    if (!MayBegin(Record::Open(facts, why)))
        return VGDB::GetDBPath(DB_SYSTEM) + " cannot be read (vgupgradectl check tells more).";
    if (std::string error = FindOldBuild(oldBuild, facts, build); !error.empty())
        return error;
    Plan plan = PlanMigrations(build, facts);
    PlanRepair(plan);
    for (const DiskNeed& disk : FindDiskNeeds(plan))
        room += disk.needed;
    return "";
}

void ReadMessages(const Rehearsal& rehearsal, size_t most, Json::Value& messages) {
    std::string log;
    if (ReadWholeFile(rehearsal.After() + std::string(kPackageLog), log) <= 0)
        return;
    for (std::string line : SplitString(log, '\n')) {
        const std::string prefix = rehearsal.After();
        for (size_t at = line.find(prefix); at != std::string::npos; at = line.find(prefix, at))
            line.erase(at, prefix.size());
        if (!line.empty() && messages.size() < most)
            messages.append(line);
    }
}

// The last object of the history that the upgrade has written.
Json::Value ReadLastUpgrade(const Rehearsal& rehearsal) {
    std::string history;
    Json::Value last, object;
    if (ReadWholeFile(rehearsal.After() + std::string(kHistory), history) > 0)
        for (const std::string& line : SplitString(history, '\n'))
            if (!line.empty() && JsonParse(line, object) == 0 && object.isObject() &&
                object["migrations"].isArray())
                last = object;
    return last;
}

void AddMigrationsOf(const Json::Value& upgrade, Json::Value& result) {
    for (const Json::Value& one : upgrade["migrations"]) {
        Json::Value entry(Json::objectValue);
        entry["row"] = one["row"];
        entry["name"] = one["name"];
        if (one["result"].isInt() && one["result"].asInt() < 0)
            result["failed"].append(entry);
        if (WorksOnOtherFiles(one["name"].isString() ? one["name"].asString() : ""))
            result["not_rehearsed"].append(entry);
    }
}

std::string Host() {
    char name[256] = {};
    return gethostname(name, sizeof(name) - 1) == 0 ? name : "";
}

}  // namespace

std::string Rehearse::WhatIsWrong() const {
    std::error_code error;
    if (getuid() != geteuid() || getgid() != getegid())
        return "A rehearsal is not for a process with another user's rights.";
    if (!m_work.empty() && !fs::is_directory(m_work, error))
        return "--work is no folder: " + m_work;
    if (const std::string program = FindUpgrader(m_upgrader); access(program.c_str(), X_OK) != 0)
        return "Cannot run " + program + ": " + std::strerror(errno);
    return m_show.Problem();
}

std::string Rehearse::FindSnapshot(std::string& folder, std::string& oldBuild) const {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(m_place, m_from, place, snapshot); found.status != 0)
        return found.error;
    if (const auto problems = ProblemsOf(snapshot, ShowBytes("Reading")); !problems.empty())
        return "Snapshot " + m_from + ": " + problems.front();
    folder = snapshot.folder;
    if (!oldBuild.empty())
        return "";
    const std::string stamp = KeysOf(folder + std::string(kSettingsConf))["vg_upgrader_version"];
    oldBuild = stamp.substr(stamp.rfind('-') + 1);
    return stamp.empty() ? "The snapshot bears no stamp of an upgrade: name OLD-BUILD." : "";
}

// '', or why it cannot be done. Under the upgrade lock.
std::string Rehearse::Prepare(const General& general, Rehearsal& rehearsal, uint32_t& build) const {
    UpgradeLock lock;
    if (!lock.Acquire(general.Patience()))
        return "An upgrade of this package still runs; nothing was changed.";
    // One that was waited for may have been killed.
    std::string problem, snapshot, oldBuild = m_oldBuild;
    if (FindUnfinishedRestore(snapshot) != 0)
        return "The restore of snapshot " + snapshot + " is not finished. Finish it: vgupgradectl restore " +
               snapshot;
    RehearsalWay way{
        .place = m_work, .snapshot = "", .schema = m_schema, .room = 0, .patience = kBusyPatience};
    if (m_from.empty())
        problem = MakePlan(oldBuild, build, way.room);
    else if (problem = FindSnapshot(way.snapshot, oldBuild); problem.empty())
        problem = FindOldBuild(oldBuild, {}, build);
    VGDB::CloseAll();
    if (problem.empty() && rehearsal.Prepare(way, problem) == 0)
        return "";
    return problem;
}

std::string Rehearse::Describe(const Rehearsal& rehearsal, uint32_t build, Json::Value& result) const {
    for (const char* array : {"failed", "messages", "not_rehearsed"})
        result[array] = Json::Value(Json::arrayValue);
    const SystemFiles before{rehearsal.Before()}, after{rehearsal.After()};
    const CompareScope scope = m_show.Scope(false);
    std::string problem;
    if (CompareSystems(before, after, scope, result, problem))
        return problem;
    const Json::Value upgrade = ReadLastUpgrade(rehearsal);
    auto keys = KeysOf(before.PathOf(std::string(kSettingsConf)));
    result["host"] = Host();
    result["taken"] = LocalTime(std::time(nullptr));
    result["stamp"] =
        keys.contains("vg_upgrader_version") ? Json::Value(keys["vg_upgrader_version"]) : Json::Value();
    result["version"] = upgrade["version"];
    if (!m_from.empty())
        result["from"] = m_from;
    if (!scope.table.empty()) {
        result["narrowed"]["table"] = scope.table;
        result["narrowed"]["id"] = scope.id.empty() ? Json::Value() : Json::Value(scope.id);
    }
    result["old_build"] = upgrade["old_build"].isUInt() ? upgrade["old_build"] : Json::Value(build);
    result["status"] = rehearsal.Status();
    result["seconds"] = std::round(rehearsal.Seconds() * 1000) / 1000;
    AddMigrationsOf(upgrade, result);
    ReadMessages(rehearsal, m_show.full ? SIZE_MAX : kMessages, result["messages"]);

    WatchScope watched{.samples = scope.samples,
                       .entries = scope.entries,
                       .rowsAlone = !scope.table.empty(),
                       .prefix = after.folder,
                       .keysBefore = {}};
    watched.keysBefore = [&before](const std::string& file) { return KeysOf(before.PathOf(file)); };
    if (ReadWatched(rehearsal.WatchFd(), watched, result, result["migrations"]))
        result["migrations"] = Json::Value();
    return "";
}

Outcome Rehearse::Run(const General& general) {
    if (std::string wrong = WhatIsWrong(); !wrong.empty())
        return Outcome::Refused(std::move(wrong));
    RemoveOnSignal removeOnSignal;
    Rehearsal rehearsal;
    uint32_t build = 0;
    std::string problem = Prepare(general, rehearsal, build);
    if (!problem.empty())
        return Outcome::Refused(problem);
    const bool all = m_show.full || !m_show.id.empty();
    const Watch::Wanted wanted{.rows = all ? 0 : std::max<uint64_t>(kInFull, 4 * uint64_t{m_show.samples}),
                               .table = m_show.table,
                               .id = m_show.id};
    if (rehearsal.Run(FindUpgrader(m_upgrader), std::to_string(build), wanted, problem))
        return Outcome::Refused(problem);
    Json::Value result(Json::objectValue);
    problem = Describe(rehearsal, build, result);
    if (problem.empty())
        problem = m_show.WritePage(AsPage(RehearsalReport(result, m_show.full)));
    if (!problem.empty())
        return Outcome::Refused(problem);
    if (m_keep)
        result["kept"] = rehearsal.Keep();
    return Outcome::Done(std::move(result), rehearsal.Status() != 0);
}

std::unique_ptr<Command> MakeRehearse() { return std::make_unique<Rehearse>(); }
