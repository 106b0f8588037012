// snapshots: those that there are, the newest first.
#include "control/snapshot/command.h"
#include "control/text.h"

namespace {

class Snapshots : public Command {
public:
    Snapshots() : Command("snapshots", "The snapshots, the newest first", Access::Reads) {
        m_options = {PlaceOption(&m_folder, "Those in this folder")};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    std::string m_folder;
};

}  // namespace

Outcome Snapshots::Run(const General& /*general*/) {
    SnapshotPlace place;
    std::vector<Snapshot> snapshots;
    std::string problem;
    if (FindSnapshotPlace(m_folder, place, problem) || ListSnapshots(place, snapshots, problem))
        return Outcome::Refused(problem);
    Json::Value array(Json::arrayValue);
    for (const Snapshot& snapshot : snapshots)
        array.append(snapshot.ToJson());
    return Outcome::Done(std::move(array));
}

std::string Snapshots::Print(const Json::Value& result) const {
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

std::unique_ptr<Command> MakeSnapshots() { return std::make_unique<Snapshots>(); }
