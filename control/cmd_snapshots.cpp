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
    for (const KeptRehearsal& rehearsal : ListRehearsals(place))
        array.append(rehearsal.ToJson());
    return Outcome::Done(std::move(array));
}

std::string Snapshots::Print(const Json::Value& result) const {
    if (result.empty())
        return "There is no snapshot.\n";
    TextTable table({"name", "taken", "data of", ">size", "state", "note"});
    for (const Json::Value& object : result) {
        const bool complete = object["complete"].asBool();
        table.Add({object["name"].asString(), object["taken"].asString(), object["stamp"].asString(),
                   complete ? InBytes(object["bytes"].asUInt64()) : "",
                   object["rehearsal"].asBool() ? TextTable::Cell("kept rehearsal")
                   : complete                   ? TextTable::Cell("complete", Tone::Good)
                                                : TextTable::Cell("not complete", Tone::Bad),
                   object["note"].asString()});
    }
    return table.ToString();
}

std::unique_ptr<Command> MakeSnapshots() { return std::make_unique<Snapshots>(); }
