// What the commands tell about upgrades: from which build one begins, which migrations failed, and an object of the
// history in words.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "upgrader/record.h"

inline constexpr const char* kOldBuildHelp =
    "The build that was installed before, a number; the last upgrade's without it";

// The build that a plan or a rehearsal begins from: the argument OLD-BUILD; when it was left out, the build of the
// stamp in settings.conf, and without a stamp the build that an interrupted upgrade came from. Returns '', or what is
// wrong.
[[nodiscard]] std::string FindOldBuild(const std::string& text, const Record::Facts& facts, uint32_t& build);

struct FailedMigration {
    std::string name;
    std::optional<size_t> number;  // none: the registry has no such migration any more
};

// Those that the record notes as failed, in the order of the registry, those that it does not know last.
std::vector<FailedMigration> FindFailed(const Record::Facts& facts);

// [{"row","name"}]; row is null for one that the registry does not know.
Json::Value ToJson(const std::vector<FailedMigration>& failed);

// --- an object of the history -------------------------------------------------------------------------------
// It comes from a file that anybody may have edited: a member that is missing or of another type counts as empty.

struct RunTotals {
    unsigned long long ran = 0;
    unsigned long long failed = 0;
    unsigned long long changes = 0;
};

RunTotals TotalsOf(const Json::Value& object);

// The member as text; '' when it is no text.
std::string TextOf(const Json::Value& object, const char* member);

// The snapshot that was restored; '' for an upgrade.
std::string RestoredOf(const Json::Value& object);

// "upgrade from 3000", "retry".
std::string WhatOf(const Json::Value& object);

// "failed: [3], [7]"; "failed" when no migration has.
std::string FailedOf(const Json::Value& object);
