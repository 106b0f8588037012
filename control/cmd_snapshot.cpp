// snapshot, snapshots, verify, restore, forget: a way back.
#include <unistd.h>

#include <array>
#include <ctime>
#include <iostream>

#include "control/commands.h"
#include "control/snapshot/keep.h"
#include "control/snapshot/restore.h"
#include "control/snapshot/snapshot.h"
#include "control/text.h"
#include "platform/base/strings.h"
#include "platform/base/vgprintf.h"
#include "upgrader/lock.h"
#include "upgrader/restore_mark.h"

namespace {

constexpr std::chrono::seconds kBusyPatience{60};

// "2026-11-21T19-07-12": no colons, which some file systems do not have in names.
std::string NameOfNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H-%M-%S", &local);
    return text.data();
}

BytesOf ShowBytes(const char* what) {
    return [what](uint64_t done, uint64_t all) {
        SetProgressLine(StringPrintf("%s %3d %% of %s", what,
                                     all == 0 ? 100 : static_cast<int>(done * 100 / all),
                                     InBytes(all).c_str()));
    };
}

Outcome Find(const Arguments& arguments, SnapshotPlace& place, Snapshot& snapshot) {
    std::string problem;
    if (FindSnapshotPlace(arguments.folder, place, problem) ||
        FindSnapshot(place, arguments.name, snapshot, problem))
        return Outcome::Refused(problem);
    return Outcome::Done({});
}

// False unless somebody at a terminal says yes.
bool IsAgreed(const Snapshot& snapshot) {
    std::cerr
        << "Restore snapshot " << Escaped(snapshot.name) << ", taken " << snapshot.taken << " from version "
        << Escaped(snapshot.version)
        << "?\nDatabases and settings become what they were then; what was written since is lost. [y/N] ";
    std::string answer;
    return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
}

std::string Described(const Json::Value& object) {
    const auto text = [&object](const char* member) {
        return object[member].isString() ? Escaped(object[member].asString()) : "?";
    };
    return text("name") + ", taken " + text("taken") + " from version " + text("version") + ", " +
           InBytes(object["bytes"].asUInt64());
}

}  // namespace

Outcome RunSnapshot(const Arguments& arguments) {
    SnapshotPlace place;
    Snapshot snapshot;
    std::string problem;
    const std::string name = arguments.name.empty() ? NameOfNow() : arguments.name;
    if (FindSnapshotPlace(arguments.folder, place, problem) ||
        TakeSnapshot(place, name, kBusyPatience, ShowBytes("Copying"), snapshot, problem))
        return Outcome::Refused(problem);
    return Outcome::Done(snapshot.ToJson());
}

std::string PrintSnapshot(const Json::Value& result, const Arguments& /*arguments*/) {
    return "Saved: " + Described(result) + ".\n";
}

Outcome RunSnapshots(const Arguments& arguments) {
    SnapshotPlace place;
    std::vector<Snapshot> snapshots;
    std::string problem;
    if (FindSnapshotPlace(arguments.folder, place, problem) || ListSnapshots(place, snapshots, problem))
        return Outcome::Refused(problem);
    Json::Value array(Json::arrayValue);
    for (const Snapshot& snapshot : snapshots)
        array.append(snapshot.ToJson());
    return Outcome::Done(std::move(array));
}

std::string PrintSnapshots(const Json::Value& result, const Arguments& /*arguments*/) {
    if (result.empty())
        return "There is no snapshot.\n";
    TextTable table({"name", "taken", "version", ">size", "state"});
    for (const Json::Value& object : result) {
        const bool complete = object["complete"].asBool();
        table.Add({object["name"].asString(),
                   object["taken"].asString(),
                   object["version"].asString(),
                   complete ? InBytes(object["bytes"].asUInt64()) : "",
                   {complete ? "complete" : "not complete", complete ? Tone::Good : Tone::Bad}});
    }
    return table.ToString();
}

Outcome RunVerify(const Arguments& arguments) {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(arguments, place, snapshot); found.status != 0)
        return found;
    Json::Value object = snapshot.ToJson();
    object["problems"] = Json::Value(Json::arrayValue);
    for (const std::string& problem : ProblemsOf(snapshot, ShowBytes("Reading")))
        object["problems"].append(problem);
    const bool hasProblems = !object["problems"].empty();
    return Outcome::Done(std::move(object), hasProblems);
}

std::string PrintVerify(const Json::Value& result, const Arguments& /*arguments*/) {
    if (result["problems"].empty())
        return Toned(Tone::Good, "Every file is as it was saved") + ": " + Described(result) + ".\n";
    std::string text = Toned(Tone::Bad, "It cannot be restored") + ": " + Described(result) + ".\n";
    for (const Json::Value& problem : result["problems"])
        text += "  " + Escaped(problem.asString()) + '\n';
    return text;
}

Outcome RunRestore(const Arguments& arguments) {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(arguments, place, snapshot); found.status != 0)
        return found;
    if (!snapshot.complete)
        return Outcome::Refused("Snapshot " + snapshot.name + " is not complete, and cannot be restored");
    if (!arguments.yes && !isatty(STDIN_FILENO))
        return Outcome::Refused("It asks on a terminal; elsewhere it needs --yes");
    if (!arguments.yes && !IsAgreed(snapshot))
        return Outcome::Refused("Nothing was changed");
    UpgradeLock lock;  // not while somebody thinks about the answer
    if (!lock.Acquire(arguments.wait))
        return Outcome::Refused("An upgrade of this package still runs; nothing was changed.");

    const bool isByPath = place.isElsewhere || arguments.name.find('/') != std::string::npos;
    const std::string name = isByPath ? snapshot.folder : snapshot.name;
    std::string problem;
    if (RestoreSnapshot(snapshot, name, kBusyPatience, ShowBytes("Copying"), problem) == 0)
        return Outcome::Done(snapshot.ToJson());
    std::string unfinished;
    if (FindUnfinishedRestore(unfinished) != 0)
        problem += ". The restore is not finished. Finish it: vgupgradectl restore " + unfinished;
    return Outcome::Refused(problem);
}

std::string PrintRestore(const Json::Value& result, const Arguments& /*arguments*/) {
    return "Restored: " + Described(result) + ".\n";
}

Outcome RunForget(const Arguments& arguments) {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(arguments, place, snapshot); found.status != 0)
        return found;
    std::string problem;
    if (ForgetSnapshot(snapshot, problem))
        return Outcome::Refused(problem);
    return Outcome::Done(snapshot.ToJson());
}

std::string PrintForget(const Json::Value& result, const Arguments& /*arguments*/) {
    return "Removed: " + Described(result) + ".\n";
}
