// What the commands tell about upgrades: whether one is due or runs, from which build it begins, which migrations
// failed, and an object of the history in words.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "upgrader/record.h"

inline constexpr const char* kOldBuildHelp =
    "The build that was installed before, a number; the last upgrade's without it";

// The command line that can be typed for this package tree: `vgupgrader 3000`, with the prefix where one was given, and
// quoted where the shell needs it.
std::string CommandLine(const std::string& program, const std::vector<std::string>& arguments);

// The stamp of the last upgrade in settings.conf, held against the package's version.
struct Stamp {
    int found = 0;                  // 1; 0: no upgrade has stamped these settings; -1: they cannot be read
    std::string text;               // "9.2.9-9760"
    std::optional<uint32_t> build;  // none: the text holds none
    std::string version;            // the package's
    bool isOlder = false;
    bool isNewer = false;
};
Stamp FindStamp();

// "The data are of 9.3.0-9999, newer than this program (9.2.9-9760)."
std::string NewerInWords(const std::string& stamp, const std::string& version);

// The process that works on this package now, {"pid","program","row","of","name","seconds"}; the last four are null
// unless it runs migrations. Null when nobody does.
Json::Value FindRunning();
std::string RunningInWords(const Json::Value& running);

// What keeps a database from being read, "is no database any more"; '' when nothing does.
std::string WhyUnreadable(DB_INSTANCE db, VGDB::DBState state);

// The build that a plan or a rehearsal begins from: the argument OLD-BUILD; when it was left out, the build of the
// stamp in settings.conf, unless that is newer than the package; without a stamp the build that an interrupted upgrade
// came from. Returns '', or what is wrong.
[[nodiscard]] std::string FindOldBuild(const std::string& text, const Record::Facts& facts, uint32_t& build);

// What is wrong with the folder that --schema names, which holds the schema files of another package; '' when nothing
// is, or none was named.
std::string WhatIsWrongWithSchema(const std::string& folder);

struct FailedMigration {
    std::string name;
    std::optional<size_t> number;  // none: the registry has no such migration any more
};

// Those that the record notes as failed, in the order of the registry, those that it does not know last.
std::vector<FailedMigration> FindFailed(const Record::Facts& facts);

// [{"row","name","reason"}]; row is null for one that the registry does not know, the reason where no object of the
// history, the newest first, tells one.
Json::Value ToJson(const std::vector<FailedMigration>& failed, const std::vector<Json::Value>& history);

// --- an object of the history -------------------------------------------------------------------------------
// It comes from a file that anybody may have edited: a member that is missing or of another type counts as empty.

struct RunTotals {
    unsigned long long ran = 0;
    unsigned long long failed = 0;
    unsigned long long changes = 0;
};

RunTotals TotalsOf(const Json::Value& object);

// The member as a number; 0 when it is none.
long long NumberOf(const Json::Value& object, const char* member);

// The member as text; '' when it is no text.
std::string TextOf(const Json::Value& object, const char* member);

// Why a migration of the history failed, in at most 200 bytes: the message may hold a whole statement. '' when unknown.
std::string ReasonOf(const Json::Value& run);

// The snapshot that was restored; '' for an upgrade.
std::string RestoredOf(const Json::Value& object);

// "upgrade from 3000", "retry".
std::string WhatOf(const Json::Value& object);

// "complete", "failed: [3], [7]; not repaired: pos.db".
std::string OutcomeOf(const Json::Value& object);
