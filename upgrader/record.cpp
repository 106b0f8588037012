#include "upgrader/record.h"

#include <json/value.h>

#include <charconv>
#include <list>
#include <string_view>

#include "platform/base/json.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/log.h"
#include "upgrader/marker.h"

namespace {

// The kinds of facts. A row has its number, the kind, and what the kind needs of subject, name and value.
constexpr const char* kOldBuild = "old_build";  // value: the build
constexpr const char* kMissing = "missing";     // name: database number; value: names by table, as JSON
constexpr const char* kDone = "done";           // name: the row's; value: its threshold
constexpr const char* kFailed = "failed";       // likewise
constexpr const char* kKey = "key";             // subject: file; name: key; value: NULL for one to remove
constexpr const char* kEntry = "entry";  // subject: user; name: the numbers in their order; value: params
constexpr const char* kPlace = "place";  // value: the id in the log of the first entry

std::string Literal(const std::optional<std::string>& text) {
    return text ? VGDB::QuoteEscape(*text) : "NULL";
}

std::string NoteSql(const std::string& fact, const std::string& subject, const std::string& name,
                    const std::optional<std::string>& value) {
    return std::string("INSERT INTO ") + Record::kTable + "(fact, subject, name, value) VALUES('" + fact +
           "', " + VGDB::QuoteEscape(subject) + ", " + VGDB::QuoteEscape(name) + ", " + Literal(value) +
           ");\n";
}

std::string StrikeSql(const std::string& condition) {
    return std::string("DELETE FROM ") + Record::kTable + " WHERE " + condition + ";\n";
}

std::string RowCondition(const char* fact, const Record::NotedMigration& row) {
    return std::string("fact = '") + fact + "' AND name = " + VGDB::QuoteEscape(row.name) + " AND value = '" +
           std::to_string(row.threshold) + "'";
}

std::string MissingToJson(const VGDB::MissingNames& missing) {
    Json::Value tables(Json::objectValue);
    for (const auto& [table, names] : missing)
        for (const std::string& name : names)
            tables[table].append(name);
    return JsonWrite(tables);
}

bool AddMissingFromJson(const std::string& text, VGDB::MissingNames& missing) {
    Json::Value tables;
    if (JsonParse(text, tables) || !tables.isObject())
        return false;
    bool sound = true;
    for (const std::string& table : tables.getMemberNames()) {
        const Json::Value& names = tables[table];
        if (!names.isArray()) {
            sound = false;
            continue;
        }
        for (const Json::Value& name : names) {
            if (name.isString())
                missing[table].insert(name.asString());
            else
                sound = false;
        }
    }
    return sound;
}

std::string NumbersOf(const UserLogEntry& entry) {
    return StringPrintf("%d %lld %d %lld %ld", entry.logType, entry.itemId, entry.dsId, entry.time,
                        entry.extra);
}

// Numbers with a blank between them.
template <class... Number>
bool ParseNumbers(const std::string& text, Number&... numbers) {
    const char* at = text.data();
    const char* const end = at + text.size();
    const auto parse = [&](auto& number) {
        if (at != text.data() && (at == end || *at++ != ' '))
            return false;
        const auto [next, error] = std::from_chars(at, end, number);
        at = next;
        return error == std::errc();
    };
    return (parse(numbers) && ...) && at == end;
}

bool AddRow(const std::string& name, const std::string& threshold,
            std::vector<Record::NotedMigration>& rows) {
    Record::NotedMigration row{.name = name};
    if (name.empty() || !ParseNumbers(threshold, row.threshold))
        return false;
    rows.push_back(row);
    return true;
}

// Takes one row of the table over; false when it makes no sense.
bool AddFact(const Rows& row, Record::Facts& facts) {
    const std::string fact = row.String("fact");
    const std::string name = row.String("name");
    const std::string value = row.String("value");
    if (fact == kOldBuild) {
        uint32_t build = 0;
        if (!ParseNumbers(value, build))
            return false;
        facts.oldBuild = build;
        return true;
    }
    if (fact == kMissing) {
        uint32_t db = 0;
        return ParseNumbers(name, db) && db < facts.missing.size() &&
               AddMissingFromJson(value, facts.missing[db]);
    }
    if (fact == kDone)
        return AddRow(name, value, facts.done);
    if (fact == kFailed)
        return AddRow(name, value, facts.failed);
    if (fact == kKey) {
        const std::string file = row.String("subject");
        if ((file != kSettingsConf && file != kVariableConf) || !IsStorableKey(name) ||
            !IsStorableValue(value))
            return false;  // a record may come from anywhere: it does not say where root writes
        std::optional<std::string> text;
        if (row.Text("value"))
            text = value;
        facts.keys.push_back({.file = file, .key = name, .value = text});
        return true;
    }
    if (fact == kPlace) {
        long long place = 0;
        if (!ParseNumbers(value, place) || place <= 0)
            return false;
        facts.place = place;
        return true;
    }
    return false;
}

}  // namespace

Record::NotedMigration Record::NoteOf(const Migration& migration) {
    return {.name = migration.name, .threshold = migration.threshold};
}

int Record::Read(Facts& facts) {
    facts = {};
    // Asked without the guards, which cannot tell what no repair creates.
    std::string columns;
    if (VGDB::LoadFirstFieldFromDB(DB_SYSTEM,
                                   StringPrintf("SELECT group_concat(lower(name)) FROM (SELECT name FROM"
                                                " pragma_table_xinfo('%s') ORDER BY cid);",
                                                kTable),
                                   columns))
        return -1;
    facts.exists = !columns.empty();
    facts.strange = facts.exists && columns != "id,fact,subject,name,value";
    if (!facts.exists || facts.strange)
        return 0;
    Rows rows, entries;
    if (QuerySql(DB_SYSTEM,
                 std::string("SELECT fact, subject, name, value FROM ") + kTable + " WHERE fact <> '" +
                     kEntry + "' ORDER BY id;",
                 rows, "Failed to read the record of an upgrade: %s\n") ||
        QuerySql(DB_SYSTEM,
                 std::string("SELECT count(*) AS entries FROM ") + kTable + " WHERE fact = '" + kEntry + "';",
                 entries, "Failed to read the record of an upgrade: %s\n"))
        return -1;
    while (rows.Next())
        if (!AddFact(rows, facts))
            facts.nonsense.push_back(rows.String("fact") + ' ' + rows.String("name"));
    if (entries.Next())
        facts.entries = entries.Int64("entries");
    return 0;
}

int Record::ReadMarked(Facts& facts, std::string& why) {
    uint32_t marked = 0;
    std::string foreign;
    const int marker = ReadMarker(marked, foreign);
    facts.isMarked = marker > 0;
    if (facts.isMarked && marked < facts.oldBuild.value_or(UINT32_MAX)) {
        facts.oldBuild = marked;
        facts.done.clear();  // for a newer build than this
    }
    if (marker < 0)
        why = foreign;
    return marker < 0 ? -1 : 0;
}

VGDB::DBState Record::Open(Facts& facts, std::string& why) {
    VGDB::DBState state = VGDB::DBState::Unreadable;
    for (int attempt = 0; attempt < 2; ++attempt) {
        state = VGDB::Probe(DB_SYSTEM);
        if (state == VGDB::DBState::Missing || state == VGDB::DBState::NotADatabase)
            break;
        if (state == VGDB::DBState::Usable) {
            if (Read(facts) == 0)
                break;
            state = VGDB::DBState::Unreadable;
        }
        why = VGDB::Reason(DB_SYSTEM);
        VGDB::CloseAll();  // the second try has a fresh connection
    }
    if (facts.strange)
        UPG_LOG("Table %s is no record of an upgrade, nothing is taken from it.\n", kTable);
    for (const std::string& fact : facts.nonsense)
        UPG_LOG("The record of an upgrade holds what makes no sense, left out: [%s].\n", fact.c_str());
    return ReadMarked(facts, why) == 0 ? state : VGDB::DBState::Unreadable;
}

int Record::Begin(Facts& facts, std::optional<uint32_t> oldBuild, const MissingReport& missing) {
    std::string sql = MakeSql(facts.strange) + BeginSql(oldBuild, missing);
    if (oldBuild != facts.oldBuild) {
        sql += StrikeSql(std::string("fact = '") + kDone + "'");
        facts.done.clear();
    }
    // A commit whose last flush fails is reported as failed, but stands.
    Facts now;
    if (VGDB::Execute(DB_SYSTEM, sql) &&
        (Read(now) || !now.exists || now.strange || now.oldBuild != oldBuild || now.missing != missing))
        return -1;
    facts.exists = true;
    facts.oldBuild = oldBuild;
    return 0;
}

int Record::AddEntries(std::span<const UserLogEntry> entries) {
    if (entries.empty())
        return 0;
    std::list<std::string> params;
    for (const UserLogEntry& entry : entries)
        params.insert(params.end(), {entry.user, NumbersOf(entry), entry.params});
    const std::string insert =
        StringPrintf("INSERT INTO %s(fact, subject, name, value) VALUES('%s', ?, ?, ?);", kTable, kEntry);
    return VGDB::Executep(VGDB::GetDBPath(DB_SYSTEM), insert, nullptr, false, true, true, true, params);
}

int Record::ReadEntries(long long beyond, size_t most, std::vector<OwedEntry>& entries) {
    entries.clear();
    Rows rows;
    if (QuerySql(
            DB_SYSTEM,
            StringPrintf(
                "SELECT id, subject, name, value FROM %s WHERE fact = '%s' AND id > %lld ORDER BY id LIMIT %zu;",
                kTable, kEntry, beyond, most),
            rows, "Failed to read the record of an upgrade: %s\n"))
        return -1;
    while (rows.Next()) {
        OwedEntry& owed = entries.emplace_back();
        owed.number = rows.Int64("id");
        UserLogEntry& entry = owed.entry.emplace();
        entry.user = rows.String("subject");
        entry.params = rows.String("value");
        if (!ParseNumbers(rows.String("name"), entry.logType, entry.itemId, entry.dsId, entry.time,
                          entry.extra)) {
            UPG_LOG("An owed log entry makes no sense, left out: [%lld].\n", owed.number);
            owed.entry.reset();
        }
    }
    return 0;
}

std::string Record::MakeSql(bool anew) {
    return (anew ? DropSql() : "") + "CREATE TABLE IF NOT EXISTS " + kTable +
           "(id INTEGER PRIMARY KEY, fact TEXT, subject TEXT, name TEXT, value TEXT);\n";
}

std::string Record::BeginSql(std::optional<uint32_t> oldBuild, const MissingReport& missing) {
    std::string sql = StrikeSql(std::string("fact IN ('") + kOldBuild + "', '" + kMissing + "')");
    if (oldBuild)
        sql += NoteSql(kOldBuild, "", "", std::to_string(*oldBuild));
    for (size_t db = 0; db < missing.size(); ++db)
        if (!missing[db].empty())
            sql += NoteSql(kMissing, "", std::to_string(db), MissingToJson(missing[db]));
    return sql;
}

std::string Record::DoneSql(const std::vector<NotedMigration>& rows) {
    std::string sql;
    for (const NotedMigration& row : rows)
        sql += (sql.empty() ? std::string("INSERT INTO ") + kTable + "(fact, name, value) VALUES\n" : ",\n") +
               "('" + kDone + "', " + VGDB::QuoteEscape(row.name) + ", '" + std::to_string(row.threshold) +
               "')";
    return sql.empty() ? "" : sql + ";\n";
}

std::string Record::FailedSql(const NotedMigration& row) {
    return SucceededSql(row) + NoteSql(kFailed, "", row.name, std::to_string(row.threshold));
}

std::string Record::SucceededSql(const NotedMigration& row) { return StrikeSql(RowCondition(kFailed, row)); }

std::string Record::OwedSql(const KeyChange& change) {
    return StrikeSql(std::string("fact = '") + kKey + "' AND subject = " + VGDB::QuoteEscape(change.file) +
                     " AND name = " + VGDB::QuoteEscape(change.key)) +
           NoteSql(kKey, change.file, change.key, change.value);
}

std::string Record::DeliveredKeysSql(const std::string& file) {
    return StrikeSql(std::string("fact = '") + kKey + "' AND subject = " + VGDB::QuoteEscape(file));
}

std::string Record::PlaceSql(long long id) {
    return StrikeSql(std::string("fact = '") + kPlace + "'") + NoteSql(kPlace, "", "", std::to_string(id));
}

std::string Record::DeliveredEntriesSql(long long last) {
    return StrikeSql(std::string("fact = '") + kEntry + "' AND id <= " + std::to_string(last));
}

std::string Record::AllEntriesDeliveredSql() {
    return StrikeSql(std::string("fact IN ('") + kEntry + "', '" + kPlace + "')");
}

std::string Record::EndSql() {
    return StrikeSql(std::string("fact IN ('") + kOldBuild + "', '" + kDone + "')") +
           // What was missing matters to rows that failed, and to nobody else.
           StrikeSql(std::string("fact = '") + kMissing + "' AND NOT EXISTS (SELECT 1 FROM " + kTable +
                     " WHERE fact = '" + kFailed + "')");
}

std::string Record::DropSql() { return std::string("DROP TABLE IF EXISTS ") + kTable + ";\n"; }
