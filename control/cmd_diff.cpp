// diff: what differs now, or in a second snapshot, from a snapshot: rows, keys, schema, owners. It reads only.
#include <filesystem>

#include "control/command.h"
#include "control/rehearse/compare.h"
#include "control/rehearse/report.h"
#include "control/rehearse/scope.h"
#include "control/snapshot/command.h"

namespace {

class Diff : public Command {
public:
    Diff() : Command("diff", "What differs now, or in a second snapshot, from a snapshot", Access::Reads) {
        m_options = {{"SNAPSHOT", &m_from, "The snapshot, or a path to it"},
                     {"[SNAPSHOT2]", &m_to, "Another; the system as it stands without it"},
                     PlaceOption(&m_place, "The folder that they were saved in")};
        m_show.AddTo(m_options);
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override {
        return AsText(DiffReport(result, m_show.full));
    }

private:
    // The files of the snapshot; '', or what is wrong.
    std::string Open(const std::string& name, SystemFiles& files, Json::Value& named) const;

    std::string m_from, m_to, m_place;
    ScopeOptions m_show;
};

std::string Diff::Open(const std::string& name, SystemFiles& files, Json::Value& named) const {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(m_place, name, place, snapshot); found.status != 0)
        return found.error;
    if (!snapshot.complete)
        return "Snapshot " + name + " is not complete.";
    files.folder = snapshot.folder;
    named = snapshot.ToJson();
    return "";
}

}  // namespace

Outcome Diff::Run(const General& /*general*/) {
    if (std::string wrong = m_show.Problem(); !wrong.empty())
        return Outcome::Refused(std::move(wrong));
    Json::Value result(Json::objectValue);
    result["to"] = Json::Value();
    SystemFiles from, to;
    std::string problem = Open(m_from, from, result["from"]);
    if (problem.empty() && !m_to.empty())
        problem = Open(m_to, to, result["to"]);
    if (!problem.empty() || CompareSystems(from, to, m_show.Scope(true), result, problem))
        return Outcome::Refused(problem);
    if (problem = m_show.WritePage(AsPage(DiffReport(result, m_show.full))); !problem.empty())
        return Outcome::Refused(problem);
    return Outcome::Done(std::move(result));
}

std::unique_ptr<Command> MakeDiff() { return std::make_unique<Diff>(); }
