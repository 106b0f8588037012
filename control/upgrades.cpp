#include "control/upgrades.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"
#include "upgrader/registry.h"

namespace {

bool ParseDigits(std::string_view text, uint32_t& build) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), build);
    return error == std::errc() && end == text.data() + text.size();
}

// The build of a version, "9.2.9-9760".
bool ParseVersion(std::string_view version, uint32_t& build) {
    const size_t dash = version.rfind('-');
    return dash != std::string_view::npos && ParseDigits(version.substr(dash + 1), build);
}

long long NumberOf(const Json::Value& object, const char* member) {
    return object.isObject() && object[member].isInt64() ? object[member].asInt64() : 0;
}

bool HasFailed(const Json::Value& run) { return NumberOf(run, "result") < 0; }

}  // namespace

std::string FindOldBuild(const std::string& text, const Record::Facts& facts, uint32_t& build) {
    if (!text.empty()) {
        if (ParseDigits(text, build))
            return "";
        const bool offers = ParseVersion(text, build);
        return "Not a build number: " + text +
               (offers ? ". Did you mean " + std::to_string(build) + "?" : "");
    }
    std::string stamp;
    const int found = VGFileGetVal(kSettingsConf, "vg_upgrader_version", stamp);
    if (found < 0)
        return "The settings cannot be read: " + ResolvePath(kSettingsConf);
    if (found > 0)
        return ParseVersion(stamp, build)
                   ? ""
                   : "The stamp of the last upgrade holds no build: [" + stamp + "]. Name OLD-BUILD.";
    if (!facts.oldBuild)
        return "No upgrade has stamped these settings yet: name OLD-BUILD.";
    build = *facts.oldBuild;
    return "";
}

std::vector<FailedMigration> FindFailed(const Record::Facts& facts) {
    std::vector<FailedMigration> failed;
    std::vector<Record::NotedMigration> noted = facts.failed;
    for (size_t number = 0; number < kMigrationCount; ++number) {
        const Record::NotedMigration row{.name = MigrationAt(number).name,
                                         .threshold = MigrationRegistry[number].threshold};
        if (const auto found = std::find(noted.begin(), noted.end(), row); found != noted.end()) {
            noted.erase(found);
            failed.push_back({.name = row.name, .number = number});
        }
    }
    for (const Record::NotedMigration& row : noted)
        failed.push_back({.name = row.name, .number = std::nullopt});
    return failed;
}

Json::Value ToJson(const std::vector<FailedMigration>& failed) {
    Json::Value array(Json::arrayValue);
    for (const FailedMigration& one : failed) {
        Json::Value& entry = array.append(Json::objectValue);
        entry["row"] = one.number ? Json::Value(Json::UInt64{*one.number}) : Json::Value();
        entry["name"] = one.name;
    }
    return array;
}

// --- an object of the history -------------------------------------------------------------------------------

RunTotals TotalsOf(const Json::Value& object) {
    RunTotals totals;
    for (const Json::Value& run : object["migrations"]) {
        ++totals.ran;
        totals.failed += HasFailed(run) ? 1 : 0;
        totals.changes += static_cast<unsigned long long>(std::max(0LL, NumberOf(run, "changes")));
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

std::string FailedOf(const Json::Value& object) {
    std::vector<std::string> numbers;
    for (const Json::Value& run : object["migrations"])
        if (HasFailed(run))
            numbers.push_back('[' + std::to_string(NumberOf(run, "row")) + ']');
    return numbers.empty() ? "failed" : "failed: " + JoinStrings(numbers, ", ");
}
