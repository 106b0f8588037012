// verify: proves that a snapshot is as it was saved.
#include "control/snapshot/command.h"
#include "control/snapshot/keep.h"
#include "control/text.h"

namespace {

class Verify : public Command {
public:
    Verify() : Command("verify", "Proves that a snapshot is as it was saved", Access::Reads) {
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

Outcome Verify::Run(const General& /*general*/) {
    SnapshotPlace place;
    Snapshot snapshot;
    if (Outcome found = Find(m_folder, m_name, place, snapshot); found.status != 0)
        return found;
    Json::Value object = snapshot.ToJson();
    object["problems"] = Json::Value(Json::arrayValue);
    for (const std::string& problem : ProblemsOf(snapshot, ShowBytes("Reading")))
        object["problems"].append(problem);
    const bool hasProblems = !object["problems"].empty();
    return Outcome::Done(std::move(object), hasProblems);
}

std::string Verify::Print(const Json::Value& result) const {
    if (result["problems"].empty())
        return Paragraph("Every file is as it was saved: " + Described(result) + '.', Tone::Good);
    std::string text = Paragraph("It cannot be restored: " + Described(result) + '.', Tone::Bad);
    TextTable table({""}, 2);
    for (const Json::Value& problem : result["problems"])
        table.Add({problem.asString()});
    return text + table.ToString();
}

std::unique_ptr<Command> MakeVerify() { return std::make_unique<Verify>(); }
