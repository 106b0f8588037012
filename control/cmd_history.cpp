// history: past upgrades and restores, the last first.
#include <algorithm>
#include <vector>

#include "control/commands.h"
#include "control/history_text.h"
#include "control/text.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "upgrader/history.h"

Outcome RunHistory(const Arguments& arguments) {
    std::vector<Json::Value> objects;
    if (ReadHistory(objects))
        return Outcome::Refused("The history cannot be read: " + ResolvePath(kHistory));
    if (arguments.newest > 0 && objects.size() > arguments.newest)
        objects.erase(objects.begin(), objects.end() - static_cast<std::ptrdiff_t>(arguments.newest));
    Json::Value newestFirst(Json::arrayValue);
    for (auto object = objects.rbegin(); object != objects.rend(); ++object)
        newestFirst.append(std::move(*object));
    return Outcome::Done(std::move(newestFirst));
}

std::string PrintHistory(const Json::Value& result, const Arguments& /*arguments*/) {
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
                   {good ? "complete" : FailedRowsOf(object), good ? Tone::Good : Tone::Bad}});
    }
    return table.ToString();
}
