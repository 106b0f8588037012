#include "control/upgrades.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <string_view>

#include "control/json.h"
#include "control/text.h"

#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/holder.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"
#include "upgrader/lock.h"
#include "upgrader/progress.h"
#include "upgrader/registry.h"

namespace {

bool ParseDigits(std::string_view text, uint32_t& build) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), build);
    return error == std::errc() && end == text.data() + text.size();
}

// The build of a version, "9.2.9-9760".
bool ParseVersion(std::string_view version, uint32_t& build) {
    const size_t dash = version.rfind('-');
    return dash != std::string_view::npos && ParseDigits(version.substr(dash + 1), build);
}

bool HasFailed(const Json::Value& run) { return NumberOf(run, "result") < 0; }

// Why the migration failed the last time.
Json::Value ReasonOf(const std::string& name, const std::vector<Json::Value>& history) {
    for (auto object = history.rbegin(); object != history.rend(); ++object)
        for (const Json::Value& run : (*object)["migrations"])
            if (HasFailed(run) && TextOf(run, "name") == name)
                return ::ReasonOf(run).empty() ? Json::Value() : Json::Value(::ReasonOf(run));
    return {};
}

}  // namespace

std::string CommandLine(const std::string& program, const std::vector<std::string>& arguments) {
    const char* const prefix = HasSysRoot() ? std::getenv("VG_SYSROOT") : nullptr;
    std::string line = program;
    if (prefix && program == "vgupgrader")
        line = "VG_SYSROOT=" + ShellQuoted(prefix) + ' ' + line;
    else if (prefix)
        line += " --root " + ShellQuoted(prefix);
    for (const std::string& argument : arguments)
        line += ' ' + ShellQuoted(argument);
    return line;
}

Stamp FindStamp() {
    Stamp stamp;
    stamp.version = GetVGPkgVersion(true);
    stamp.found = VGFileGetVal(kSettingsConf, "vg_upgrader_version", stamp.text);
    uint32_t build = 0, current = 0;
    if (stamp.found <= 0 || !ParseVersion(stamp.text, build))
        return stamp;
    stamp.build = build;
    if (ParseVersion(stamp.version, current)) {
        stamp.isOlder = build < current;
        stamp.isNewer = build > current;
    }
    return stamp;
}

std::string NewerInWords(const std::string& stamp, const std::string& version) {
    return "The data are of " + stamp + ", newer than this program (" + version + ").";
}

Json::Value FindRunning() {
    const int pid = UpgradeLock::Holder();
    if (pid <= 0)
        return {};
    Json::Value running(Json::objectValue);
    std::string program;
    std::ifstream comm("/proc/" + std::to_string(pid) + "/comm");
    std::getline(comm, program);
    running["pid"] = pid;
    running["program"] = program;
    for (const char* const member : {"row", "of", "name", "seconds"})
        running[member] = Json::Value();
    if (const std::optional<Progress> progress = ReadProgress(pid)) {
        running["row"] = Json::UInt64{progress->place};
        running["of"] = Json::UInt64{progress->of};
        running["name"] = progress->name;
        running["seconds"] = Rounded(progress->seconds);
    }
    return running;
}

std::string RunningInWords(const Json::Value& running) {
    const std::string who = "Process " + std::to_string(running["pid"].asInt()) + " (" +
                            Escaped(running["program"].asString()) + ") works on this package now";
    if (running["row"].isNull())
        return who + ".";
    return who + StringPrintf(": migration %u of %u, %s, %.1f s.", running["row"].asUInt(),
                              running["of"].asUInt(), Escaped(running["name"].asString()).c_str(),
                              running["seconds"].asDouble());
}

std::string WhyUnreadable(DB_INSTANCE db, VGDB::DBState state) {
    switch (state) {
        case VGDB::DBState::Usable:
            return "";
        case VGDB::DBState::Missing:
            return "no such file";
        case VGDB::DBState::NotADatabase:
            return "is no database any more";
        case VGDB::DBState::Busy:
            return "is held by " + InWords(FindHolder(VGDB::GetDBPath(db), Having::Locked)) +
                   ", and cannot be read now";
        case VGDB::DBState::Unreadable:
            break;
    }
    if (VGDB::IsDamaged(db))
        return "is damaged";
    return access(VGDB::GetDBPath(db).c_str(), R_OK) == 0 ? "cannot be read" : "cannot be read, be root";
}

std::string FindOldBuild(const std::string& text, const Record::Facts& facts, uint32_t& build) {
    if (!text.empty()) {
        if (ParseDigits(text, build))
            return "";
        const bool offers = ParseVersion(text, build);
        return "Not a build number: " + text +
               (offers ? ". Did you mean " + std::to_string(build) + "?" : "");
    }
    const Stamp stamp = FindStamp();
    if (stamp.found < 0)
        return "The settings cannot be read: " + ResolvePath(kSettingsConf);
    if (stamp.found > 0 && !stamp.build)
        return "The stamp of the last upgrade holds no build: [" + stamp.text + "]. Name OLD-BUILD.";
    if (stamp.isNewer)
        return NewerInWords(stamp.text, stamp.version);
    if (!stamp.build && !facts.oldBuild)
        return "No upgrade has stamped these settings yet: name OLD-BUILD.";
    build = stamp.build ? *stamp.build : *facts.oldBuild;
    return "";
}

std::string WhatIsWrongWithSchema(const std::string& folder) {
    if (folder.empty() || access((folder + "/system.sql").c_str(), R_OK) == 0)
        return "";
    return "--schema: there is no schema file " + folder + "/system.sql";
}

std::vector<FailedMigration> FindFailed(const Record::Facts& facts) {
    std::vector<FailedMigration> failed;
    std::vector<Record::NotedMigration> noted = facts.failed;
    for (size_t number = 0; number < kMigrationCount; ++number) {
        const Record::NotedMigration row{.name = MigrationAt(number).name,
                                         .threshold = MigrationRegistry[number].threshold};
        if (const auto found = std::find(noted.begin(), noted.end(), row); found != noted.end()) {
            noted.erase(found);
            failed.push_back({.name = row.name, .number = number});
        }
    }
    for (const Record::NotedMigration& row : noted)
        failed.push_back({.name = row.name, .number = std::nullopt});
    return failed;
}

Json::Value ToJson(const std::vector<FailedMigration>& failed, const std::vector<Json::Value>& history) {
    Json::Value array(Json::arrayValue);
    for (const FailedMigration& one : failed) {
        Json::Value& entry = array.append(Json::objectValue);
        entry["row"] = one.number ? Json::Value(Json::UInt64{*one.number}) : Json::Value();
        entry["name"] = one.name;
        entry["reason"] = ReasonOf(one.name, history);
    }
    return array;
}

// --- an object of the history -------------------------------------------------------------------------------

RunTotals TotalsOf(const Json::Value& object) {
    RunTotals totals;
    for (const Json::Value& run : object["migrations"]) {
        ++totals.ran;
        totals.failed += HasFailed(run) ? 1 : 0;
        totals.changes += static_cast<unsigned long long>(std::max(0LL, NumberOf(run, "changes")));
    }
    return totals;
}

long long NumberOf(const Json::Value& object, const char* member) {
    return object.isObject() && object[member].isInt64() ? object[member].asInt64() : 0;
}

std::string TextOf(const Json::Value& object, const char* member) {
    return object.isObject() && object[member].isString() ? object[member].asString() : "";
}

std::string ReasonOf(const Json::Value& run) {
    constexpr size_t kLongest = 200;
    std::string reason = TextOf(run, "reason");
    if (reason.size() <= kLongest)
        return reason;
    size_t end = kLongest;
    while (end > 0 && (static_cast<unsigned char>(reason[end]) & 0xc0) == 0x80)
        --end;
    return reason.substr(0, end) + " …";
}

std::string RestoredOf(const Json::Value& object) { return TextOf(object, "restored"); }

std::string WhatOf(const Json::Value& object) {
    if (object["argument"].isNull())
        return "retry";
    const std::string from = "upgrade from " + std::to_string(NumberOf(object, "old_build"));
    return object["resumed"] == true ? from + ", resumed" : from;
}

std::string OutcomeOf(const Json::Value& object) {
    std::vector<std::string> failed, notRepaired;
    for (const Json::Value& run : object["migrations"])
        if (HasFailed(run))
            failed.push_back('[' + std::to_string(NumberOf(run, "row")) + ']');
    if (object["not_repaired"].isArray())
        for (const Json::Value& database : object["not_repaired"])
            if (database.isString())
                notRepaired.push_back(database.asString());
    std::string text = object["status"] == 0 ? "complete" : "failed";
    if (!failed.empty())
        text += ": " + JoinStrings(failed, ", ");
    return notRepaired.empty() ? text : text + "; not repaired: " + JoinStrings(notRepaired, ", ");
}
