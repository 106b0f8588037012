#include "upgrader/upgrade_record.h"

#include <json/value.h>

#include <map>
#include <vector>

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

// The facts.
constexpr const char* kOldBuild = "old_build";  // whose upgrade this is
constexpr const char* kRegistry = "registry";   // by a registry of that many rows
constexpr const char* kNextRow = "next_row";    // the row to go on with
constexpr const char* kResult = "result";       // of the rows before
constexpr const char* kUnit = "unit";           // the last unit that took effect
constexpr const char* kFiles = "files";  // and the files that it had prepared, one a line, without prefix
constexpr const char* kMissing = "missing ";  // followed by the database's number: what it lacked, as JSON

// The files of settings that a unit can have prepared.
constexpr std::string_view kSettingsFiles[] = {kSettingsConf, kVariableConf};

using Facts = std::map<std::string, std::string>;

int ReadFacts(Facts& facts) {
    QueryResult rows;
    if (QuerySql(DB_SYSTEM, std::string("SELECT name, value FROM ") + kTable, rows,
                 "Failed to read the record of an interrupted upgrade: %s\n"))
        return -1;
    while (rows.Next())
        facts[rows.String("name")] = rows.String("value");
    return 0;
}

std::string ToJson(const VGDB::MissingNames& missing) {
    Json::Value tables(Json::objectValue);
    for (const auto& [table, names] : missing)
        for (const std::string& name : names)
            tables[table].append(name);
    return JsonWrite(tables);
}

void AddFromJson(const std::string& text, VGDB::MissingNames& missing) {
    Json::Value tables;
    if (JsonParse(text, tables) || !tables.isObject())
        return;
    for (const std::string& table : tables.getMemberNames())
        for (const Json::Value& name : tables[table])
            missing[table].insert(name.isString() ? name.asString() : "");
}

std::string WithoutPrefix(const std::string& realPath) { return realPath.substr(SysPath("").size()); }

// Does again what a unit does after its commit.
void FinishUnit(const Facts& facts) {
    const auto unit = facts.find(kUnit);
    const auto files = facts.find(kFiles);
    if (unit == facts.end() || files == facts.end())
        return;
    for (const std::string& path : SplitString(files->second, '\n'))
        (void)FileUnit::Finish(SysPath(path), unit->second);  // logged there
}

}  // namespace

void UpgradeRecord::Recover() {
    std::string count = "0";
    const std::string query = std::string("SELECT count(*) FROM sqlite_schema WHERE name = '") + kTable + "'";
    Facts facts;
    if (VGDB::LoadFirstFieldFromDB(DB_SYSTEM, query, count) || (count != "0" && ReadFacts(facts))) {
        m_usable = false;
        return;  // files that a unit has prepared stay for the time when the record can be read
    }
    FinishUnit(facts);
    VGDB::RecoverJoined(DB_LOG);
    for (const std::string_view path : kSettingsFiles)
        FileUnit::RemoveLeftovers(SysPath(path));
    m_exists = count != "0";
    if (!m_exists)
        return;
    if (facts[kOldBuild] != std::to_string(m_oldBuild) ||
        facts[kRegistry] != std::to_string(kMigrationCount)) {
        UPG_LOG("Leaving the interrupted upgrade from build %s aside.\n", facts[kOldBuild].c_str());
        m_exists = VGDB::DropTable(DB_SYSTEM, kTable) != 0;
        return;
    }
    m_nextRow = String2Int(facts[kNextRow].c_str());
    m_result = String2Int(facts[kResult].c_str());
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        AddFromJson(facts[kMissing + std::to_string(db)], g_missingSchema[static_cast<size_t>(db)]);
    UPG_LOG("Resuming the interrupted upgrade at row [%d].\n", m_nextRow);
}

// Notes facts in the transaction that is open, or in one of their own.
int UpgradeRecord::Note(const Facts& facts) {
    std::string sql;
    if (!m_exists)
        sql = StringPrintf(
            "CREATE TABLE %s(name TEXT PRIMARY KEY, value TEXT);"
            "INSERT INTO %s VALUES('%s', '%u'), ('%s', '%zu');",
            kTable, kTable, kOldBuild, m_oldBuild, kRegistry, kMigrationCount);
    for (const auto& [name, value] : facts)
        AppendSqlCommand(sql, std::string("REPLACE INTO ") + kTable + " VALUES(" + VGDB::QuoteEscape(name) +
                                  ", " + VGDB::QuoteEscape(value) + ")");
    if (VGDB::Execute(DB_SYSTEM, sql))
        return -1;
    m_exists = true;
    return 0;
}

void UpgradeRecord::NoteMissing(DB_INSTANCE db, const VGDB::MissingNames& missing) {
    if (m_usable && !missing.empty())
        (void)Note(
            {{kMissing + std::to_string(db), ToJson(missing)}});  // logged; only a resumed upgrade asks
}

void UpgradeRecord::BeginUnit(int row) {
    m_unit = std::to_string(row);
    VGDB::BeginUnit();
    FileUnit::Begin(m_unit);
}

int UpgradeRecord::CommitUnit(int row, int result) {
    (void)VGLogFlush();  // costs the entries; logged there
    const std::vector<std::string> files = FileUnit::Paths();
    if (!VGDB::HasUnitChanged() && files.empty()) {
        RollbackUnit();
        return 0;
    }

    const bool existed = m_exists;
    std::vector<std::string> names;
    for (const std::string& path : files)
        names.push_back(WithoutPrefix(path));
    if (m_usable && Note({{kNextRow, std::to_string(row + 1)},
                          {kResult, std::to_string(result)},
                          {kUnit, m_unit},
                          {kFiles, JoinStrings(names, "\n")}})) {
        if (m_exists || VGDB::HasUnitChanged(DB_SYSTEM)) {
            RollbackUnit();
            return -1;
        }
        m_usable =
            false;  // a main database that takes nothing: what stands in files is upgraded all the same
    }
    if (VGDB::CommitUnit()) {
        m_exists = existed;
        FileUnit::Discard();
        VGDB::RecoverJoined(DB_LOG);
        return -1;
    }
    return FileUnit::PutInPlace();
}

void UpgradeRecord::RollbackUnit() {
    VGDB::RollbackUnit();
    FileUnit::Discard();
}

void UpgradeRecord::Close() {
    if (!m_exists)
        return;
    // The removal of the journal is then the last thing that this process does to a file: the upgrade is
    // either not complete, and is resumed at its end, or nothing is left to interrupt.
    VGDB::RelaxDurability(DB_SYSTEM);
    if (VGDB::DropTable(DB_SYSTEM, kTable) == 0)
        m_exists = false;
}
