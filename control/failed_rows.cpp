#include "control/failed_rows.h"

#include <algorithm>

#include "upgrader/registry.h"

std::vector<FailedRow> FindFailedRows(const Record::Facts& facts) {
    std::vector<FailedRow> rows;
    std::vector<Record::RowName> noted = facts.failed;
    for (size_t number = 0; number < kMigrationCount; ++number) {
        const Record::RowName row{.name = InfoOfRow(number).name,
                                  .threshold = MigrationRegistry[number].threshold};
        if (const auto found = std::find(noted.begin(), noted.end(), row); found != noted.end()) {
            noted.erase(found);
            rows.push_back({.name = row.name, .number = number});
        }
    }
    for (const Record::RowName& row : noted)
        rows.push_back({.name = row.name, .number = std::nullopt});
    return rows;
}

Json::Value ToJson(const std::vector<FailedRow>& rows) {
    Json::Value array(Json::arrayValue);
    for (const FailedRow& row : rows) {
        Json::Value& entry = array.append(Json::objectValue);
        entry["row"] = row.number ? Json::Value(Json::UInt64{*row.number}) : Json::Value();
        entry["name"] = row.name;
    }
    return array;
}
