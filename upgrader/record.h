// The memory of an upgrade that is not finished, or not finished well: table vgupgrader_record of the main
// database. It stands there because its facts must be as true as the rows beside it. A table and nothing
// else: it gives and takes facts, and decides nothing.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/package/vglog.h"
#include "platform/settings/key_value_text.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/registry.h"

namespace Record {

inline constexpr const char* kTable = "vgupgrader_record";

// A migration as the record names it: positions move when a registry grows.
struct NotedMigration {
    std::string name;
    uint32_t threshold = 0;

    auto operator<=>(const NotedMigration&) const = default;
};

NotedMigration NoteOf(const Migration& migration);

using MissingReport = std::array<VGDB::MissingNames, DB_INSTANCE_COUNT>;

struct Facts {
    bool exists = false;                 // the table is there
    bool strange = false;                // but is no record of ours, and is made anew
    std::vector<std::string> nonsense;   // what was left out, for the log
    std::optional<uint32_t> oldBuild;    // an upgrade from there has begun, and has not come to its end
    std::vector<NotedMigration> done;    // its migrations that have taken effect
    std::vector<NotedMigration> failed;  // those that failed, in this or an earlier upgrade
    MissingReport missing;               // what the databases lacked before their repair
    std::vector<KeyChange> keys;         // owed
    long long entries = 0;               // how many entries are owed
    long long place = 0;                 // the id that the first of them gets in the log; 0: not chosen yet

    bool isMarked = false;  // the marker stands; oldBuild is then the older of its build and the record's

    bool Owes() const { return !keys.empty() || entries > 0; }
};

// Reads the record. Returns 0, also when there is none; -1 when it cannot be read. What makes no sense in it is left
// out.
[[nodiscard]] int Read(Facts& facts);

// Takes the marker of an upgrade that could not begin into account. Returns 0, or -1 when it cannot be read; `why` then
// tells why ("PATH: TEXT").
[[nodiscard]] int ReadMarked(Facts& facts, std::string& why);

// Reads the record, and the marker of an upgrade that could not begin, before a program changes anything. Logs what makes
// no sense in it. Returns Usable, also when there is no record; Missing or NotADatabase where the main database takes
// none; anything else when an earlier record cannot be read, or the marker: nothing is to be changed then, and `why`
// tells why ("PATH: TEXT").
[[nodiscard]] VGDB::DBState Open(Facts& facts, std::string& why);

// Notes, before anything is changed and in a commit of its own, that an upgrade from there has begun (none: failed
// migrations are run again), and what the databases lack. `facts` then tell so. Returns 0 or -1.
[[nodiscard]] int Begin(Facts& facts, std::optional<uint32_t> oldBuild, const MissingReport& missing);

// Each gives the SQL text that brings the fact into the table or takes it out.
std::string MakeSql(bool anew);  // the table, where it is missing
std::string BeginSql(std::optional<uint32_t> oldBuild, const MissingReport& missing);
std::string DoneSql(const std::vector<NotedMigration>& rows);
std::string FailedSql(const NotedMigration& row);     // once, however often it is noted
std::string SucceededSql(const NotedMigration& row);  // no longer failed
std::string OwedSql(const KeyChange& change);         // in place of an older change of the key
std::string DeliveredKeysSql(const std::string& file);
std::string PlaceSql(long long id);
std::string DeliveredEntriesSql(long long last);  // up to and with that number
std::string AllEntriesDeliveredSql();
std::string EndSql();  // the upgrade has come to its end; failures, what was missing and debts stay
std::string DropSql();

// Notes owed entries.
[[nodiscard]] int AddEntries(std::span<const UserLogEntry> entries);

// Owed entries beyond a number, the oldest first.
struct OwedEntry {
    long long number;
    std::optional<UserLogEntry> entry;  // none: it makes no sense (logged)
};
[[nodiscard]] int ReadEntries(long long beyond, size_t most, std::vector<OwedEntry>& entries);

}  // namespace Record
