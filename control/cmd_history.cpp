// history: past upgrades and restores, the last first.
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
        m_options = {{"-n N", &m_newest, "The newest N alone", 1}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    unsigned m_newest = 0;  // so many; 0 is all
};

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
    TextTable table({"when", "what", ">seconds", ">ran", ">failed", ">changes", "outcome"});
    for (const Json::Value& object : result) {
        if (const std::string name = RestoredOf(object); !name.empty()) {
            table.Add({TextOf(object, "at"), "restore of " + name, "", "", "", "", {"restored", Tone::Good}});
            continue;
        }
        const RunTotals totals = TotalsOf(object);
        const bool good = object["status"] == 0;
        table.Add({TextOf(object, "started"),
                   WhatOf(object),
                   object["seconds"].isNumeric() ? StringPrintf("%.2f", object["seconds"].asDouble()) : "",
                   std::to_string(totals.ran),
                   std::to_string(totals.failed),
                   std::to_string(totals.changes),
                   {good ? "complete" : FailedOf(object), good ? Tone::Good : Tone::Bad}});
    }
    return table.ToString();
}

std::unique_ptr<Command> MakeHistory() { return std::make_unique<History>(); }
