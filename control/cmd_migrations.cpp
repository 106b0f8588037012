// migrations: the registry.
#include <cstddef>

#include "control/command.h"
#include "control/text.h"
#include "upgrader/registry.h"

namespace {

class Migrations : public Command {
public:
    Migrations() : Command("migrations", "Every migration, and what it concerns", Access::None) {}

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;
};

}  // namespace

Outcome Migrations::Run(const General& /*general*/) {
    Json::Value rows(Json::arrayValue);
    for (size_t number = 0; number < kMigrationCount; ++number) {
        const Migration& info = MigrationAt(number);
        Json::Value& row = rows.append(Json::objectValue);
        row["row"] = Json::UInt64{number};
        row["threshold"] = MigrationRegistry[number].threshold;
        row["name"] = info.name;
        row["state"] = StateName(info.state);
        row["concerns"] = info.concerns;
        if (info.leavesOut)
            row["leaves_out"] = info.leavesOut;
    }
    return Outcome::Done(std::move(rows));
}

std::string Migrations::Print(const Json::Value& result) const {
    TextTable table({">number", ">threshold", "state", "name", "concerns"});
    for (const Json::Value& row : result)
        table.Add({std::to_string(row["row"].asUInt()), std::to_string(row["threshold"].asUInt()),
                   row["state"].asString(), row["name"].asString(), row["concerns"].asString()});
    return table.ToString();
}

std::unique_ptr<Command> MakeMigrations() { return std::make_unique<Migrations>(); }
