#include "upgrader/upgrade_record.h"

#include <json/value.h>

#include <optional>
#include <set>
#include <vector>

#include "platform/host/disk_error.h"
#include "platform/host/paths.h"
#include "platform/settings/file_rewrite.h"
#include "platform/support/json.h"
#include "platform/support/strings.h"
#include "platform/userlog/vglog.h"
#include "upgrader/dataaccess/query_result.h"
#include "upgrader/log.h"
#include "upgrader/missing_schema.h"
#include "upgrader/registry.h"

namespace {

// One row a fact. A table of the main database, since its facts must be as true as the rows beside it.
constexpr const char* kTable = "vgupgrader_record";

constexpr const char* kOldBuild = "old_build";  // whose upgrade this is
constexpr const char* kRegistry = "registry";   // by a registry of that many rows
constexpr const char* kNextRow = "next_row";    // the row to go on with
constexpr const char* kResult = "result";       // of the rows before
constexpr const char* kUnit = "unit";           // the last unit that took effect
constexpr const char* kFiles = "files";  // and the files that it had prepared, one a line, without prefix
constexpr const char* kMissing = "missing_";  // followed by the database's number: what it lacked, as JSON

// The files of settings that a unit can have prepared.
constexpr std::string_view kSettingsFiles[] = {kSettingsConf, kVariableConf};

using Facts = std::map<std::string, std::string>;

// Returns 0 and the facts, none when there is no record; -1 when the main database cannot be read.
int ReadRecord(bool& exists, Facts& facts) {
    std::set<std::string> tables;
    if (VGDB::GetTables(DB_SYSTEM, tables))
        return -1;
    exists = tables.contains(kTable);
    if (!exists)
        return 0;
    QueryResult rows;
    if (QuerySql(DB_SYSTEM, std::string("SELECT name, value FROM ") + kTable, rows,
                 "Failed to read the record of an interrupted upgrade: %s\n"))
        return -1;
    while (rows.Next())
        facts[rows.String("name")] = rows.String("value");
    return 0;
}

std::string FactOf(const Facts& facts, const std::string& name) {
    const auto fact = facts.find(name);
    return fact != facts.end() ? fact->second : "";
}

std::string MissingToJson(const VGDB::MissingNames& missing) {
    Json::Value tables(Json::objectValue);
    for (const auto& [table, names] : missing)
        for (const std::string& name : names)
            tables[table].append(name);
    return JsonWrite(tables);
}

void AddMissingFromJson(const std::string& text, VGDB::MissingNames& missing) {
    Json::Value tables;
    if (JsonParse(text, tables) || !tables.isObject())
        return;
    for (const std::string& table : tables.getMemberNames())
        if (tables[table].isArray())
            for (const Json::Value& name : tables[table])
                if (name.isString())
                    missing[table].insert(name.asString());
}

// Does again what a unit does after its commit. False when it cannot be done now.
bool FinishUnit(const Facts& facts) {
    const auto unit = facts.find(kUnit);
    const auto files = facts.find(kFiles);
    bool done = true;
    if (unit != facts.end() && files != facts.end())
        for (const std::string& path : SplitString(files->second, '\n'))
            done = FileUnit::Finish(path, unit->second) == 0 && done;
    return done;
}

// The row to go on with as it stands in the database: a commit whose last flush fails is reported as failed,
// but stands. -1 when there is no record, nothing when it cannot be read.
std::optional<int> ReadNextRow() {
    bool exists = false;
    Facts facts;
    if (ReadRecord(exists, facts))
        return std::nullopt;
    return exists ? String2Int(FactOf(facts, kNextRow).c_str()) : -1;
}

}  // namespace

void UpgradeRecord::Recover() {
    bool exists = false;
    Facts facts;
    if (ReadRecord(exists, facts)) {
        m_usable = false;
        return;  // files that a unit has prepared stay for the time when the record can be read
    }
    VGDB::RecoverJoined(DB_LOG);
    if (FinishUnit(facts))
        for (const std::string_view path : kSettingsFiles)
            FileUnit::RemoveLeftovers(std::string(path));
    m_exists = exists;
    if (!m_exists)
        return;
    if (FactOf(facts, kOldBuild) == std::to_string(m_oldBuild) &&
        FactOf(facts, kRegistry) == std::to_string(kMigrationCount)) {
        Resume(facts);
    } else {
        UPG_LOG("Leaving the interrupted upgrade from build %s aside.\n", FactOf(facts, kOldBuild).c_str());
        m_exists = VGDB::DropTable(DB_SYSTEM, kTable) != 0;
    }
}

void UpgradeRecord::Resume(const Facts& facts) {
    m_nextRow = String2Int(FactOf(facts, kNextRow).c_str());
    m_result = String2Int(FactOf(facts, kResult).c_str());
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        AddMissingFromJson(FactOf(facts, kMissing + std::to_string(db)),
                           g_missingSchema[static_cast<size_t>(db)]);
    UPG_LOG("Resuming the interrupted upgrade at row [%d].\n", m_nextRow);
}

// Notes facts in the transaction that is open, or in one of their own.
int UpgradeRecord::Note(const Facts& facts) {
    std::string sql;
    if (!m_exists)
        sql = StringPrintf(
            "CREATE TABLE IF NOT EXISTS %s(name TEXT PRIMARY KEY, value TEXT);"
            "REPLACE INTO %s VALUES('%s', '%u'), ('%s', '%zu');",
            kTable, kTable, kOldBuild, m_oldBuild, kRegistry, kMigrationCount);
    for (const auto& [name, value] : facts)
        AppendSqlCommand(sql, std::string("REPLACE INTO ") + kTable + " VALUES(" + VGDB::QuoteEscape(name) +
                                  ", " + VGDB::QuoteEscape(value) + ")");
    const bool failed = VGDB::Execute(DB_SYSTEM, sql) != 0;
    // A commit whose last flush fails is reported as failed, but stands.
    m_exists = m_exists || !failed || VGDB::CheckTableExist(DB_SYSTEM, kTable);
    return failed ? -1 : 0;
}

void UpgradeRecord::NoteMissing(DB_INSTANCE db, const VGDB::MissingNames& missing) {
    if (m_usable && !missing.empty())
        (void)Note({{kMissing + std::to_string(db), MissingToJson(missing)}});  // only a later run asks
}

void UpgradeRecord::BeginUnit(int row) {
    ForgetDiskErrors();
    VGDB::BeginUnit();
    FileUnit::Begin(std::to_string(row));
}

int UpgradeRecord::RunUnit(int row, const std::function<int()>& migration) {
    for (bool again = false;; again = true) {
        BeginUnit(row);
        const int result = migration();
        if ((again || !HadDiskError()) && CommitUnit(row, result))
            return result < 0 ? -1 : 0;
        const bool diskError = HadDiskError();
        RollbackUnit();
        if (again || !diskError) {
            m_result = -1;
            return -1;
        }
        UPG_LOG("[%d] disk error, trying once more.\n", row);
    }
}

// False when the unit has taken no effect, or not all of it.
bool UpgradeRecord::CommitUnit(int row, int result) {
    if (VGLogFlush() != 0 || (result < 0 && FileUnit::HasFailed()))
        return false;
    const int before = m_result;
    if (result < 0)
        m_result = -1;
    if (CommitChanges(row))
        return true;
    m_result = before;
    return false;
}

bool UpgradeRecord::CommitChanges(int row) {
    if (!VGDB::HasUnitChanged() && FileUnit::Paths().empty()) {
        RollbackUnit();
        return true;
    }
    const bool existed = m_exists;
    if (m_usable && NoteUnit(row)) {
        if (m_exists || VGDB::HasUnitChanged(DB_SYSTEM))
            return false;
        // A main database that takes nothing: what stands in files is upgraded all the same.
        m_usable = false;
    }
    if (VGDB::CommitUnit()) {
        const std::optional<int> nextRow = ReadNextRow();
        if (!nextRow)
            FileUnit::Abandon();  // the next start knows whether the unit has taken effect
        if (nextRow != row + 1) {
            m_exists = existed;
            VGDB::RecoverJoined(DB_LOG);
            return false;
        }
    }
    return FileUnit::PutInPlace() == 0;
}

int UpgradeRecord::NoteUnit(int row) {
    std::vector<std::string> files;
    for (const std::string& path : FileUnit::Paths())
        files.push_back(path);
    return Note({{kNextRow, std::to_string(row + 1)},
                 {kResult, std::to_string(m_result)},
                 {kUnit, std::to_string(row)},
                 {kFiles, JoinStrings(files, "\n")}});
}

void UpgradeRecord::RollbackUnit() {
    VGLogDiscard();
    VGDB::RollbackUnit();
    FileUnit::Discard();
}

void UpgradeRecord::Close() {
    if (!m_exists)
        return;
    VGDB::RecoverJoined(DB_LOG);
    // The removal of the journal is then the last thing that this process does to a file: the upgrade is
    // either not complete, and is resumed at its end, or nothing is left to interrupt.
    VGDB::RelaxDurability(DB_SYSTEM);
    if (VGDB::DropTable(DB_SYSTEM, kTable) == 0 || VGDB::DropTable(DB_SYSTEM, kTable) == 0)
        m_exists = false;
}
