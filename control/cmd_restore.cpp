// restore: brings a snapshot back.
#include "control/snapshot/command.h"
#include "control/snapshot/restore.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "upgrader/journal.h"
#include "upgrader/lock.h"
#include "upgrader/log.h"
#include "upgrader/restore_mark.h"

namespace {

// What has come of it, in the package log and in the host's journal.
void Tell(const std::string& message, int status) {
    UPG_LOG("%s\n", message.c_str());
    SendToJournal({.message = message, .status = status, .failed = 0, .oldBuild = std::nullopt});
}

class Restore : public Command {
public:
    Restore() : Command("restore", "Brings a snapshot back", Access::Asks) {
        m_log = LogSink::PackageLog;
        m_whileRestoring = true;
        m_options = {{"SNAPSHOT", &m_name, "The snapshot, or a path to it"},
                     PlaceOption(&m_folder, "The folder that it was saved in"),
                     {"--yes", &m_yes, "Do not ask"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    std::string m_name;
    std::string m_folder;
    bool m_yes = false;
};

}  // namespace

Outcome Restore::Run(const General& general) {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(m_folder, m_name, place, snapshot); found.status != 0)
        return found;
    if (!snapshot.complete)
        return Outcome::Refused("Snapshot " + snapshot.name + " is not complete, and cannot be restored");
    const std::string refusal = AskAtTerminal(
        "Restore snapshot " + Described(snapshot.ToJson()) +
            "?\nDatabases and settings become what they were then; what was written since is lost.",
        m_yes);
    if (!refusal.empty())
        return Outcome::Refused(refusal);
    UpgradeLock lock;  // not while somebody thinks about the answer
    if (!lock.Acquire(general.Patience()))
        return Outcome::Refused("An upgrade of this package still runs; nothing was changed.");

    const bool isByPath = place.isElsewhere || m_name.find('/') != std::string::npos;
    const std::string name = isByPath ? snapshot.folder : snapshot.name;
    std::string problem;
    if (RestoreSnapshot(snapshot, name, kBusyPatience, ShowBytes("Copying"), problem) == 0) {
        Tell("Snapshot " + snapshot.name + " is restored.", 0);
        return Outcome::Done(snapshot.ToJson());
    }
    std::string unfinished;
    if (FindUnfinishedRestore(unfinished) != 0)
        problem += ". The restore is not finished. Finish it: " +
                   CommandLine("vgupgradectl", {"restore", unfinished});
    Tell("Failed to restore snapshot " + snapshot.name + ": " + problem, 1);
    return Outcome::Refused(problem);
}

std::string Restore::Print(const Json::Value& result) const {
    return Paragraph("Restored: " + Described(result) + '.');
}

std::unique_ptr<Command> MakeRestore() { return std::make_unique<Restore>(); }
