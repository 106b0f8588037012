// The history of upgrades: one JSON object a line, the newest last.
#pragma once

#include <json/value.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "upgrader/plan.h"
#include "upgrader/runner.h"

// The object of an upgrade that has come to its end.
//   argument  the text that was given on the command line; none for a retry
Json::Value HistoryOf(const Plan& plan, const Runner& runner, const std::optional<std::string>& argument,
                      std::chrono::system_clock::time_point started, double seconds, int status);

// Appends one line with one write; flushed to disk when asked. Returns 0 or -1 (logged); nothing depends on it.
[[nodiscard]] int AppendHistory(const Json::Value& object, bool flush);

// Reads all lines that hold an object, the oldest first. Returns 0, also when there is no file; -1 (logged) when it
// cannot be read.
[[nodiscard]] int ReadHistory(std::vector<Json::Value>& objects);
