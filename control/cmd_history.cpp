// history: past upgrades and restores, the last first; with --rows what each run did, migration by migration: those that
// changed rows or failed, and why.
#include <algorithm>
#include <vector>

#include "control/command.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "upgrader/history.h"

namespace {

class History : public Command {
public:
    History() : Command("history", "Past upgrades and restores, the last first", Access::Reads) {
        m_options = {
            {"-n N", &m_newest, "The newest N alone", 1},
            {"--rows", &m_rows, "Each migration that changed rows, or why it failed"},
        };
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    unsigned m_newest = 0;  // so many; 0 is all
    bool m_rows = false;
};

TextTable NewTable() {
    return TextTable({"when", "what", ">seconds", ">ran", ">failed", ">changes", "outcome"});
}

// "2026-11-21 19:07:12", as the clock of the system showed it.
std::string Shown(std::string time) {
    constexpr size_t kSeconds = 19;
    if (time.size() > kSeconds && time[10] == 'T')
        time.resize(kSeconds);
    std::replace(time.begin(), time.end(), 'T', ' ');
    return time;
}

void Add(const Json::Value& object, TextTable& table) {
    if (const std::string name = RestoredOf(object); !name.empty()) {
        table.Add(
            {Shown(TextOf(object, "at")), "restore of " + name, "", "", "", "", {"restored", Tone::Good}});
        return;
    }
    const RunTotals totals = TotalsOf(object);
    table.Add({Shown(TextOf(object, "started")),
               WhatOf(object),
               object["seconds"].isNumeric() ? StringPrintf("%.2f", object["seconds"].asDouble()) : "",
               std::to_string(totals.ran),
               std::to_string(totals.failed),
               std::to_string(totals.changes),
               {OutcomeOf(object), object["status"] == 0 ? Tone::Good : Tone::Bad}});
}

std::string PrintMigrations(const Json::Value& object) {
    if (!RestoredOf(object).empty())
        return "";
    TextTable table({">number", "name", ">changes", "outcome"}, 2);
    size_t others = 0;
    for (const Json::Value& run : object["migrations"]) {
        const long long changes = NumberOf(run, "changes");
        const bool failed = NumberOf(run, "result") < 0;
        const std::string reason = ReasonOf(run);
        if (!failed && changes == 0)
            ++others;
        else
            table.Add({std::to_string(NumberOf(run, "row")),
                       TextOf(run, "name"),
                       std::to_string(changes),
                       {failed ? "failed" + (reason.empty() ? "" : ": " + reason) : "done",
                        failed ? Tone::Bad : Tone::Good}});
    }
    return (table.IsEmpty() ? "" : table.ToString()) + "  " + Counted(others, "migration", "migrations") +
           " changed no row.\n\n";
}

}  // namespace

Outcome History::Run(const General& /*general*/) {
    std::vector<Json::Value> objects;
    if (ReadHistory(objects))
        return Outcome::Refused("The history cannot be read: " + ResolvePath(kHistory));
    if (m_newest > 0 && objects.size() > m_newest)
        objects.erase(objects.begin(), objects.end() - static_cast<std::ptrdiff_t>(m_newest));
    Json::Value newestFirst(Json::arrayValue);
    for (auto object = objects.rbegin(); object != objects.rend(); ++object)
        newestFirst.append(std::move(*object));
    return Outcome::Done(std::move(newestFirst));
}

std::string History::Print(const Json::Value& result) const {
    if (result.empty())
        return "No upgrade and no restore is noted.\n";
    TextTable table = NewTable();
    std::string text;
    for (const Json::Value& object : result) {
        Add(object, table);
        if (m_rows)
            text += std::exchange(table, NewTable()).ToString() + PrintMigrations(object);
    }
    return m_rows ? text : table.ToString();
}

std::unique_ptr<Command> MakeHistory() { return std::make_unique<History>(); }
