// rehearse: what an upgrade would do, found out by doing it on a copy.
//
//   1. Plan, to know from which build and which rows.
//   2. Copy the system twice, under the upgrade lock.
//   3. Run the program on one copy.
//   4. Compare the copies: rows, schema, settings keys, other files, log entries; read what the program tells.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "control/command.h"
#include "control/rehearse/page.h"
#include "control/rehearse/rehearsal.h"
#include "control/rehearse/text_form.h"
#include "control/secrets.h"
#include "control/snapshot/tree_files.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/json.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"
#include "platform/settings/key_value_text.h"
#include "platform/vgdb/row_changes.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/disk_need.h"
#include "upgrader/lock.h"
#include "upgrader/plan.h"
#include "upgrader/restore_mark.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kBusyPatience{60};
constexpr mode_t kPageMode = 0600;  // it shows rows of the system

// --- rows ---------------------------------------------------------------------------------------------------

std::string Hex(const std::string& bytes) {
    std::string hex;
    for (const unsigned char byte : bytes)
        hex += StringPrintf("%02x", byte);
    return hex;
}

Json::Value ToJson(const std::string& column, const VGDB::FieldValue& value) {
    using Kind = VGDB::FieldValue::Kind;
    if (value.kind != Kind::Null && IsSecretName(column))
        return std::string(kMask);
    switch (value.kind) {
        case Kind::Null:
            break;
        case Kind::Integer:
            return Json::Int64{value.integer};
        case Kind::Real:
            return std::isfinite(value.real) ? Json::Value(value.real)
                                             : Json::Value(value.real > 0 ? "Infinity" : "-Infinity");
        case Kind::Text:
            return MaskedValue(column, value.bytes);
        case Kind::Blob: {
            Json::Value blob(Json::objectValue);
            blob["blob"] = Hex(value.bytes);
            return blob;
        }
    }
    return {};
}

Json::Value ToJson(const std::optional<VGDB::TableRow>& row) {
    if (!row)
        return {};
    Json::Value object(Json::objectValue);
    for (const auto& [column, value] : *row)
        object[column] = ToJson(column, value);
    return object;
}

// Columns in the order of the table, which an object does not keep.
Json::Value ColumnsOf(const std::vector<VGDB::RowChange>& samples) {
    Json::Value columns(Json::arrayValue);
    std::set<std::string> seen;
    for (const VGDB::RowChange& sample : samples)
        for (const auto* row : {&sample.after, &sample.before})
            if (*row)
                for (const auto& [column, value] : **row)
                    if (seen.insert(column).second)
                        columns.append(column);
    return columns;
}

Json::Value ToJson(const std::string& database, const VGDB::DatabaseChanges& changes) {
    Json::Value object(Json::objectValue);
    object["database"] = database;
    object["tables"] = Json::Value(Json::arrayValue);
    for (const VGDB::TableChanges& table : changes.tables) {
        Json::Value& entry = object["tables"].append(Json::objectValue);
        entry["table"] = table.table;
        entry["inserted"] = Json::UInt64{table.inserted};
        entry["updated"] = Json::UInt64{table.updated};
        entry["deleted"] = Json::UInt64{table.deleted};
        entry["columns"] = ColumnsOf(table.samples);
        entry["samples"] = Json::Value(Json::arrayValue);
        for (const VGDB::RowChange& sample : table.samples) {
            Json::Value& pair = entry["samples"].append(Json::objectValue);
            pair["before"] = ToJson(sample.before);
            pair["after"] = ToJson(sample.after);
            pair["changed"] = Json::Value(Json::arrayValue);
            for (const std::string& column : sample.changed)
                pair["changed"].append(column);
        }
    }
    object["schema"] = Json::Value(Json::arrayValue);
    for (const std::string& change : changes.schema)
        object["schema"].append(change);
    return object;
}

void NoteFile(Json::Value& files, const std::string& path, const char* change) {
    Json::Value& entry = files.append(Json::objectValue);
    entry["path"] = path;
    entry["change"] = change;
}

bool HaveSameBytes(const std::string& one, const std::string& other) {
    const UniqueFd first(open(one.c_str(), kReadFlags)), second(open(other.c_str(), kReadFlags));
    std::vector<char> a(1 << 16), b(1 << 16);
    for (;;) {
        const ssize_t read = first && second ? ReadBlock(first.Get(), a) : -1;
        if (read < 0 || ReadBlock(second.Get(), b) != read ||
            !std::equal(a.begin(), a.begin() + read, b.begin()))
            return false;
        if (read == 0)
            return true;
    }
}

// Nothing has been written to it: size and time are those that it was copied with.
bool IsUntouched(const std::string& before, const std::string& after) {
    struct stat was {
    }, is{};
    for (const char* suffix : {"-wal", "-journal"})
        if (access((before + suffix).c_str(), F_OK) == 0 || access((after + suffix).c_str(), F_OK) == 0)
            return false;
    return stat(before.c_str(), &was) == 0 && stat(after.c_str(), &is) == 0 && was.st_size == is.st_size &&
           was.st_mtim.tv_sec == is.st_mtim.tv_sec && was.st_mtim.tv_nsec == is.st_mtim.tv_nsec;
}

void CompareAllDatabases(const Rehearsal& rehearsal, size_t samples, Json::Value& result) {
    for (int i = 0; i < DB_INSTANCE_COUNT; ++i) {
        const DB_INSTANCE db = static_cast<DB_INSTANCE>(i);
        const std::string name = VGDB::GetDBName(db);
        const std::string path = std::string(kTargetDir) + name;
        const std::string before = rehearsal.Before() + path, after = rehearsal.After() + path;
        if (IsUntouched(before, after))
            continue;
        SetProgressLine("Comparing " + name);
        VGDB::CompareWay way{.samples = samples, .leftOut = "vgupgrader_record", .allInsertedOf = ""};
        if (db == DB_LOG)
            way.allInsertedOf = "log";
        VGDB::DatabaseChanges changes;
        std::string problem;
        if (VGDB::CompareDatabases(before, after, way, changes, problem)) {
            // Damaged: no rows to be compared.
            if (!HaveSameBytes(before, after))
                NoteFile(result["files"], path, "changed");
            continue;
        }
        if (!changes.tables.empty() || !changes.schema.empty())
            result["databases"].append(ToJson(name, changes));
        for (const VGDB::TableRow& row : changes.inserted) {
            Json::Value& entry = result["log"].append(Json::objectValue);
            for (const auto& [column, value] : row)
                if (column == "log_type" || column == "item_id" || column == "params")
                    entry[column] = ToJson(column, value);
        }
    }
    SetProgressLine("");
}

// --- files --------------------------------------------------------------------------------------------------

// The files below a prefix by the package's paths.
std::set<std::string> FilesBelow(const std::string& root) {
    std::set<std::string> files;
    std::error_code error;
    for (auto entry = fs::recursive_directory_iterator(root, error); !error && entry != fs::end(entry);
         entry.increment(error))
        if (!entry->is_directory(error))
            files.insert(entry->path().native().substr(root.size()));
    return files;
}

bool IsSettingsFile(const std::string& path) { return IsTreeFile(path) && path.ends_with(".conf"); }

void CompareSettings(const std::string& path, const std::string& before, const std::string& after,
                     Json::Value& settings) {
    std::map<std::string, std::string> values[2];
    std::string content;
    for (const auto& [file, found] : {std::pair(before, &values[0]), std::pair(after, &values[1])})
        if (ReadWholeFile(file, content) > 0)
            *found = KeyValueText(content).All();
    std::map<std::string, std::string> keys = values[0];
    keys.insert(values[1].begin(), values[1].end());
    for (const auto& [key, any] : keys) {
        Json::Value change(Json::objectValue);
        change["file"] = path;
        change["key"] = key;
        const auto was = values[0].find(key), is = values[1].find(key);
        const bool had = was != values[0].end(), has = is != values[1].end();
        if (had == has && was->second == is->second)
            continue;
        change["before"] = had ? Json::Value(MaskedValue(key, was->second)) : Json::Value();
        change["after"] = has ? Json::Value(MaskedValue(key, is->second)) : Json::Value();
        settings.append(change);
    }
}

void CompareFiles(const Rehearsal& rehearsal, Json::Value& result) {
    const std::set<std::string> before = FilesBelow(rehearsal.Before()),
                                after = FilesBelow(rehearsal.After());
    std::set<std::string> all = before;
    all.insert(after.begin(), after.end());
    for (const std::string& path : all) {
        const std::string was = rehearsal.Before() + path, is = rehearsal.After() + path;
        if (IsSettingsFile(path)) {
            CompareSettings(path, was, is, result["settings"]);
            continue;
        }
        if (IsTreeFile(path) || path.starts_with(kLogDir))
            continue;
        if (!before.contains(path))
            NoteFile(result["files"], path, "added");
        else if (!after.contains(path))
            NoteFile(result["files"], path, "removed");
        else if (!HaveSameBytes(was, is))
            NoteFile(result["files"], path, "changed");
    }
}

// --- what the program tells ---------------------------------------------------------------------------------

void ReadMessages(const Rehearsal& rehearsal, Json::Value& messages) {
    std::string log;
    if (ReadWholeFile(rehearsal.After() + std::string(kPackageLog), log) <= 0)
        return;
    for (std::string line : SplitString(log, '\n')) {
        const std::string prefix = rehearsal.After();
        for (size_t at = line.find(prefix); at != std::string::npos; at = line.find(prefix, at))
            line.erase(at, prefix.size());
        if (!line.empty())
            messages.append(line);
    }
}

void ReadFailedRows(const Rehearsal& rehearsal, Json::Value& failed) {
    std::string history;
    if (ReadWholeFile(rehearsal.After() + std::string(kHistory), history) <= 0)
        return;
    for (const std::string& line : SplitString(history, '\n')) {
        Json::Value object;
        if (line.empty() || JsonParse(line, object) != 0 || !object.isObject() ||
            !object["migrations"].isArray())
            continue;
        failed = Json::Value(Json::arrayValue);
        for (const Json::Value& row : object["migrations"]) {
            if (!row.isObject() || !row["result"].isInt() || row["result"].asInt() >= 0)
                continue;
            Json::Value& entry = failed.append(Json::objectValue);
            entry["row"] = row["row"];
            entry["name"] = row["name"];
        }
    }
}

Json::Value ResultOf(const Rehearsal& rehearsal, const Plan& plan, size_t samples) {
    Json::Value result(Json::objectValue);
    for (const char* array : {"databases", "settings", "files", "log", "failed", "messages", "not_rehearsed"})
        result[array] = Json::Value(Json::arrayValue);
    result["old_build"] = plan.oldBuild;
    result["status"] = rehearsal.Status();
    result["seconds"] = std::round(rehearsal.Seconds() * 1000) / 1000;
    CompareAllDatabases(rehearsal, samples, result);
    CompareFiles(rehearsal, result);
    ReadMessages(rehearsal, result["messages"]);
    ReadFailedRows(rehearsal, result["failed"]);
    for (const Migration& row : plan.migrations) {
        if (!WorksOnOtherFiles(row.name))
            continue;
        Json::Value& entry = result["not_rehearsed"].append(Json::objectValue);
        entry["row"] = row.number;
        entry["name"] = row.name;
    }
    return result;
}

// The vgupgrader beside this program.
std::string FindUpgrader(const std::string& given) {
    std::error_code error;
    const fs::path path = given.empty()
                              ? fs::read_symlink("/proc/self/exe", error).parent_path() / "vgupgrader"
                              : fs::absolute(given, error);
    return error ? given : path.native();
}

// What the upgrade would do as far as it can be told beforehand; '' or why not.
std::string MakePlan(const std::string& oldBuild, uint32_t& build, Plan& plan, uint64_t& room) {
    VGDB::OpenReadOnly();
    Record::Facts facts;
    std::string why;
    if (!MayBegin(Record::Open(facts, why)))
        return VGDB::GetDBPath(DB_SYSTEM) + " cannot be read (vgupgradectl check tells more).";
    if (std::string error = FindOldBuild(oldBuild, facts, build); !error.empty())
        return error;
    plan = PlanMigrations(build, facts);
    PlanRepair(plan);
    room = 0;
    for (const DiskNeed& disk : FindDiskNeeds(plan))
        room += disk.needed;
    return "";
}

class Rehearse : public Command {
public:
    Rehearse() : Command("rehearse", "Runs the upgrade on a copy, and shows what it changes", Access::Asks) {
        m_options = {{"[OLD-BUILD]", &m_oldBuild, kOldBuildHelp},
                     {"--samples N", &m_samples, "Show so many rows of a table (3)"},
                     {"--html FILE", &m_page, "Write it as a page, too"},
                     {"--work DIR", &m_work, "Make the copy in this folder (beside the snapshots)"},
                     {"--keep", &m_keep, "Leave the copy there"},
                     {"--upgrader PATH", &m_upgrader, "Run this program (the vgupgrader beside this one)"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override { return RehearsalText(result); }

private:
    std::string m_oldBuild;
    unsigned m_samples = 3;
    std::string m_page;
    std::string m_work;
    bool m_keep = false;
    std::string m_upgrader;
};

}  // namespace

Outcome Rehearse::Run(const General& general) {
    if (getuid() != geteuid() || getgid() != getegid())
        return Outcome::Refused("A rehearsal is not for a process with another user's rights.");
    std::error_code error;
    if (!m_work.empty() && !fs::is_directory(m_work, error))
        return Outcome::Refused("--work is no folder: " + m_work);
    const fs::path page = m_page.empty() ? fs::path() : fs::absolute(m_page, error);
    if (error || (!page.empty() && access(page.parent_path().c_str(), W_OK) != 0))
        return Outcome::Refused("Cannot write the page " + m_page + ": " + std::strerror(errno));
    RemoveOnSignal removeOnSignal;
    Rehearsal rehearsal;
    Plan plan;
    uint32_t build = 0;
    std::string problem;
    {
        UpgradeLock lock;
        if (!lock.Acquire(general.Patience()))
            return Outcome::Refused("An upgrade of this package still runs; nothing was changed.");
        // One that was waited for may have been killed.
        if (std::string snapshot; FindUnfinishedRestore(snapshot) != 0)
            return Outcome::Refused("The restore of snapshot " + snapshot +
                                    " is not finished. Finish it: vgupgradectl restore " + snapshot);
        uint64_t room = 0;
        problem = MakePlan(m_oldBuild, build, plan, room);
        VGDB::CloseAll();
        if (!problem.empty() || rehearsal.Prepare(m_work, room, kBusyPatience, problem))
            return Outcome::Refused(problem);
    }
    if (rehearsal.Run(FindUpgrader(m_upgrader), std::to_string(build), problem))
        return Outcome::Refused(problem);
    Json::Value result = ResultOf(rehearsal, plan, m_samples);
    if (!page.empty() && ReplaceFile(page, RehearsePage(result), kPageMode))
        return Outcome::Refused("Cannot write the page " + m_page);
    if (m_keep)
        result["kept"] = rehearsal.Keep();
    return Outcome::Done(std::move(result), rehearsal.Status() != 0);
}

std::unique_ptr<Command> MakeRehearse() { return std::make_unique<Rehearse>(); }
