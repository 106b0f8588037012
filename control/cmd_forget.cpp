// forget: removes a snapshot, all complete ones but the last N, or a rehearsal that was kept.
#include <unistd.h>

#include <algorithm>

#include "control/snapshot/command.h"
#include "control/snapshot/keep.h"
#include "control/text.h"

namespace {

class Forget : public Command {
public:
    Forget() : Command("forget", "Removes a snapshot", Access::Locked) {
        m_log = LogSink::PackageLog;
        m_options = {{"[SNAPSHOT]", &m_name, "The snapshot, or a path to it; or a kept rehearsal"},
                     PlaceOption(&m_folder, "The folder that it was saved in"),
                     {"--keep N", &m_keep, "Remove all complete ones but the last N", 1},
                     {"--yes", &m_yes, "Do not ask"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    Outcome RemoveOne(const SnapshotPlace& place) const;
    Outcome RemoveOld(const SnapshotPlace& place) const;
    std::string Ask(const std::string& what) const;

    std::string m_name;
    std::string m_folder;
    unsigned m_keep = 0;  // 0: not given
    bool m_yes = false;
};

}  // namespace

// A script has nobody to ask.
std::string Forget::Ask(const std::string& what) const {
    return isatty(STDIN_FILENO) != 0 ? AskAtTerminal("Remove " + what + "?", m_yes) : "";
}

Outcome Forget::RemoveOne(const SnapshotPlace& place) const {
    std::string problem;
    const std::vector<KeptRehearsal> kept = ListRehearsals(place);
    const auto rehearsal = std::find_if(kept.begin(), kept.end(),
                                        [this](const KeptRehearsal& one) { return one.name == m_name; });
    Snapshot snapshot;
    if (rehearsal == kept.end() && FindSnapshot(place, m_name, snapshot, problem))
        return Outcome::Refused(problem);
    const Json::Value object = rehearsal != kept.end() ? rehearsal->ToJson() : snapshot.ToJson();
    if (const std::string refusal = Ask(Described(object)); !refusal.empty())
        return Outcome::Refused(refusal);
    if (rehearsal != kept.end() ? ForgetRehearsal(*rehearsal, problem)
                                : ForgetSnapshot(place, snapshot, problem))
        return Outcome::Refused(problem);
    return Outcome::Done(object);
}

Outcome Forget::RemoveOld(const SnapshotPlace& place) const {
    std::vector<Snapshot> old;
    std::string problem;
    if (ListSnapshots(place, old, problem))
        return Outcome::Refused(problem);
    std::erase_if(old, [](const Snapshot& snapshot) { return !snapshot.complete; });
    old.erase(old.begin(), old.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(m_keep, old.size())));
    std::string names;
    for (const Snapshot& snapshot : old)
        names += (names.empty() ? "" : ", ") + Escaped(snapshot.name);
    if (const std::string refusal = old.empty() ? "" : Ask(names); !refusal.empty())
        return Outcome::Refused(refusal);
    Json::Value removed(Json::arrayValue);
    for (const Snapshot& snapshot : old) {
        if (ForgetSnapshot(place, snapshot, problem))
            return Outcome::Refused(problem);
        removed.append(snapshot.ToJson());
    }
    return Outcome::Done(std::move(removed));
}

Outcome Forget::Run(const General& /*general*/) {
    if (m_name.empty() == (m_keep == 0))
        return Outcome::Refused("forget needs either SNAPSHOT or --keep N");
    SnapshotPlace place;
    std::string problem;
    if (FindSnapshotPlace(m_folder, place, problem))
        return Outcome::Refused(problem);
    return m_keep > 0 ? RemoveOld(place) : RemoveOne(place);
}

std::string Forget::Print(const Json::Value& result) const {
    if (result.isObject())
        return Paragraph("Removed: " + Described(result) + '.');
    std::string text = result.empty() ? "There is none to remove.\n" : "";
    for (const Json::Value& object : result)
        text += Paragraph("Removed: " + Described(object) + '.');
    return text;
}

std::unique_ptr<Command> MakeForget() { return std::make_unique<Forget>(); }
