// forget: removes a snapshot.
#include "control/snapshot/command.h"
#include "control/snapshot/keep.h"

namespace {

class Forget : public Command {
public:
    Forget() : Command("forget", "Removes a snapshot", Access::Locked) {
        m_log = LogSink::PackageLog;
        m_options = {{"SNAPSHOT", &m_name, "The snapshot, or a path to it"},
                     PlaceOption(&m_folder, "The folder that it was saved in")};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    std::string m_name;
    std::string m_folder;
};

}  // namespace

Outcome Forget::Run(const General& /*general*/) {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(m_folder, m_name, place, snapshot); found.status != 0)
        return found;
    std::string problem;
    if (ForgetSnapshot(snapshot, problem))
        return Outcome::Refused(problem);
    return Outcome::Done(snapshot.ToJson());
}

std::string Forget::Print(const Json::Value& result) const { return "Removed: " + Described(result) + ".\n"; }

std::unique_ptr<Command> MakeForget() { return std::make_unique<Forget>(); }
