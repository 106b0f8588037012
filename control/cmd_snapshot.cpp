// snapshot: saves what an upgrade can change in place.
#include <array>
#include <ctime>
#include <filesystem>
#include <string>
#include <system_error>

#include "control/snapshot/command.h"
#include "control/snapshot/keep.h"
#include "control/text.h"

namespace fs = std::filesystem;

namespace {

// "2026-11-21T19-07-12": no colons, which some file systems do not have in names.
std::string NameOfNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H-%M-%S", &local);
    return text.data();
}

// The time, with a number behind it where another snapshot is of the same second.
std::string UnusedName(const SnapshotPlace& place) {
    const std::string now = NameOfNow();
    std::string name = now;
    std::error_code unknown;
    for (int number = 2; fs::exists(fs::symlink_status(fs::path(place.folder) / name, unknown)); ++number)
        name = now + '-' + std::to_string(number);
    return name;
}

class SnapshotCommand : public Command {
public:
    SnapshotCommand() : Command("snapshot", "Saves what an upgrade can change in place", Access::Locked) {
        m_log = LogSink::PackageLog;
        m_options = {{"[NAME]", &m_name, "What it is to be called (the time)"},
                     PlaceOption(&m_folder, "Save it in this folder"),
                     {"--note TEXT", &m_note, "What it is for"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    std::string m_name;
    std::string m_folder;
    std::string m_note;
};

}  // namespace

Outcome SnapshotCommand::Run(const General& /*general*/) {
    if (!m_name.empty())
        if (std::string wrong = WhatIsWrongWithName(m_name); !wrong.empty())
            return Outcome::Refused(std::move(wrong));
    SnapshotPlace place;
    Snapshot snapshot;
    std::string problem;
    if (FindSnapshotPlace(m_folder, place, problem) ||
        TakeSnapshot(place, m_name.empty() ? UnusedName(place) : m_name, m_note, kBusyPatience,
                     ShowBytes("Copying"), snapshot, problem))
        return Outcome::Refused(problem);
    return Outcome::Done(snapshot.ToJson());
}

std::string SnapshotCommand::Print(const Json::Value& result) const {
    std::string text = Paragraph("Saved: " + Described(result) + '.');
    for (const Json::Value& database : result["damaged"])
        text += Paragraph("Damaged, saved as it is: " + Escaped(database.asString()), Tone::Bad);
    return text;
}

std::unique_ptr<Command> MakeSnapshot() { return std::make_unique<SnapshotCommand>(); }
