// An upgrade, and a retry of what failed: how both are opened, run and reported.
//
//   1. Open: read what an earlier upgrade has left in the record of the main database. Where that cannot be read,
//      nothing is changed.
//   2. Plan: the due migrations, the schema repair.
//   3. Note the upgrade in the record. Where that cannot be written, nothing is changed.
//   4. Deliver what an earlier upgrade owes.
//   5. Run the plan (see runner.h).
//   6. Report: the history, the last line of the log.
//
// The caller holds the upgrade lock.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "upgrader/record.h"

// The upgrade that was asked for by the argument, whose number is the build. Returns 0 or -1, the exit status.
int Upgrade(std::string_view argument, uint32_t build);

// What a retry has come to.
struct RetryReport {
    std::string refused;  // why nothing was tried; '' when it was
    int status = 0;       // 0 or -1
    Json::Value history;  // its object; `migrations` is empty when there was nothing to run again
    bool isRead = false;  // the record could be read afterwards
    Record::Facts left;   // what it holds then
};

// Runs the migrations that failed again, in the registry's order, then those of threshold 0. One that is given up is
// struck off first: its work is not done, and those that need it run without it.
RetryReport RetryFailed(std::optional<int> giveUp = std::nullopt);
