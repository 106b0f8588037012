#include "control/history_text.h"

#include <algorithm>
#include <vector>

#include "platform/base/strings.h"

namespace {

long long NumberOf(const Json::Value& object, const char* member) {
    return object.isObject() && object[member].isInt64() ? object[member].asInt64() : 0;
}

bool HasFailed(const Json::Value& row) { return NumberOf(row, "result") < 0; }

}  // namespace

RunTotals TotalsOf(const Json::Value& object) {
    RunTotals totals;
    for (const Json::Value& row : object["migrations"]) {
        ++totals.ran;
        totals.failed += HasFailed(row) ? 1 : 0;
        totals.changes += static_cast<unsigned long long>(std::max(0LL, NumberOf(row, "changes")));
    }
    return totals;
}

std::string TextOf(const Json::Value& object, const char* member) {
    return object.isObject() && object[member].isString() ? object[member].asString() : "";
}

std::string RestoredOf(const Json::Value& object) { return TextOf(object, "restored"); }

std::string WhatOf(const Json::Value& object) {
    if (object["argument"].isNull())
        return "retry";
    const std::string from = "upgrade from " + std::to_string(NumberOf(object, "old_build"));
    return object["resumed"] == true ? from + ", resumed" : from;
}

std::string FailedRowsOf(const Json::Value& object) {
    std::vector<long long> rows;
    for (const Json::Value& row : object["migrations"])
        if (HasFailed(row))
            rows.push_back(NumberOf(row, "row"));
    return rows.empty() ? "failed"
                        : (rows.size() == 1 ? "failed: row " : "failed: rows ") + JoinStrings(rows, ", ");
}
