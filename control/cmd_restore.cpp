// restore: brings a snapshot back.
#include <unistd.h>

#include <iostream>

#include "control/snapshot/command.h"
#include "control/snapshot/restore.h"
#include "control/text.h"
#include "upgrader/lock.h"
#include "upgrader/restore_mark.h"

namespace {

// False unless somebody at a terminal says yes.
bool IsAgreed(const Snapshot& snapshot) {
    std::cerr
        << "Restore snapshot " << Escaped(snapshot.name) << ", taken " << snapshot.taken << " from version "
        << Escaped(snapshot.version)
        << "?\nDatabases and settings become what they were then; what was written since is lost. [y/N] ";
    std::string answer;
    return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
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
    if (!m_yes && !isatty(STDIN_FILENO))
        return Outcome::Refused("It asks on a terminal; elsewhere it needs --yes");
    if (!m_yes && !IsAgreed(snapshot))
        return Outcome::Refused("Nothing was changed");
    UpgradeLock lock;  // not while somebody thinks about the answer
    if (!lock.Acquire(general.Patience()))
        return Outcome::Refused("An upgrade of this package still runs; nothing was changed.");

    const bool isByPath = place.isElsewhere || m_name.find('/') != std::string::npos;
    const std::string name = isByPath ? snapshot.folder : snapshot.name;
    std::string problem;
    if (RestoreSnapshot(snapshot, name, kBusyPatience, ShowBytes("Copying"), problem) == 0)
        return Outcome::Done(snapshot.ToJson());
    std::string unfinished;
    if (FindUnfinishedRestore(unfinished) != 0)
        problem += ". The restore is not finished. Finish it: vgupgradectl restore " + unfinished;
    return Outcome::Refused(problem);
}

std::string Restore::Print(const Json::Value& result) const {
    return "Restored: " + Described(result) + ".\n";
}

std::unique_ptr<Command> MakeRestore() { return std::make_unique<Restore>(); }
