// The rows that the record of an upgrade notes as failed, found in the registry.
#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

#include "upgrader/record.h"

struct FailedRow {
    std::string name;
    std::optional<size_t> number;  // none: the registry has no such row any more
};

// In the order of the registry, those that it does not know last.
std::vector<FailedRow> FindFailedRows(const Record::Facts& facts);

// [{"row","name"}]; row is null for one that the registry does not know.
Json::Value ToJson(const std::vector<FailedRow>& rows);
