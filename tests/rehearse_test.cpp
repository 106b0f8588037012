// rehearse: what it says is what the upgrade then does, and the system stays as it was.
#include <gtest/gtest.h>
#include <json/value.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <thread>

#include "platform/base/json.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/vgdb/row_changes.h"
#include "tests/support/system_tree.h"
#include "upgrader/history.h"
#include "upgrader/registry.h"

namespace fs = std::filesystem;

namespace {

// --- an account of its own of what an upgrade has done --------------------------------------------------------

struct CloseDatabase {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};

// The rows of a query, each field as an SQL literal.
std::vector<std::vector<std::string>> Query(sqlite3* db, const std::string& sql) {
    std::vector<std::vector<std::string>> rows;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr))
        << sql << sqlite3_errmsg(db);
    while (statement && sqlite3_step(statement) == SQLITE_ROW) {
        std::vector<std::string> row;
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            const auto* text = sqlite3_column_text(statement, i);
            row.emplace_back(text ? reinterpret_cast<const char*>(text) : "");
        }
        rows.push_back(row);
    }
    sqlite3_finalize(statement);
    return rows;
}

using Row = std::map<std::string, std::string>;

struct Table {
    std::set<std::string> key;
    Row defaults;
    std::vector<Row> rows;
};

using Tables = std::map<std::string, Table>;  // by "database table"

Tables ReadTables() {
    Tables tables;
    for (int i = 0; i < DB_INSTANCE_COUNT; ++i) {
        const DB_INSTANCE instance = static_cast<DB_INSTANCE>(i);
        sqlite3* opened = nullptr;
        EXPECT_EQ(SQLITE_OK, sqlite3_open(VGDB::GetDBPath(instance).c_str(), &opened));
        const std::unique_ptr<sqlite3, CloseDatabase> db(opened);
        for (const auto& name : Query(opened,
                                      "SELECT name FROM sqlite_master WHERE type = 'table' AND name"
                                      " NOT LIKE 'sqlite_%' AND name <> 'vgupgrader_record'")) {
            Table& table = tables[VGDB::GetDBName(instance) + ' ' + name[0]];
            std::vector<std::string> columns;
            std::string fields = "1";
            for (const auto& column : Query(opened, "PRAGMA table_info(\"" + name[0] + "\")")) {
                columns.push_back(column[1]);
                fields += ", quote(\"" + column[1] + "\")";
                if (column[5] != "0")
                    table.key.insert(column[1]);
                // As SQLite stores it.
                const std::string fallback = column[4].empty() ? "NULL" : "(" + column[4] + ")";
                Query(opened, "DROP TABLE IF EXISTS temp.d");
                Query(opened, "CREATE TEMP TABLE d(x " + column[2] + " DEFAULT " + fallback + ")");
                Query(opened, "INSERT INTO temp.d DEFAULT VALUES");
                table.defaults[column[1]] = Query(opened, "SELECT quote(x) FROM temp.d")[0][0];
            }
            for (const auto& values : Query(opened, "SELECT " + fields + " FROM \"" + name[0] + '"')) {
                Row row;
                for (size_t c = 0; c < columns.size(); ++c)
                    row[columns[c]] = values[c + 1];
                table.rows.push_back(row);
            }
        }
    }
    return tables;
}

struct Counts {
    unsigned long long inserted = 0, updated = 0, deleted = 0;
    std::string ToString() const {
        return '+' + std::to_string(inserted) + " ~" + std::to_string(updated) + " -" +
               std::to_string(deleted);
    }
};

Counts CountChanges(const Table& before, const Table& after) {
    const auto keyOf = [&](const Row& row) {
        std::string key;
        for (const std::string& column : after.key)
            key += row.at(column) + '|';
        return key;
    };
    const auto textOf = [&](Row row) {
        for (const auto& [column, value] : after.defaults)
            row.try_emplace(column, value);
        std::string text;
        for (const auto& [column, value] : row)
            text += value + '|';
        return text;
    };
    bool byKey = !after.key.empty() && before.key == after.key;
    for (const Table* table : {&before, &after})
        for (const Row& row : table->rows)
            for (const std::string& column : table->key)
                byKey = byKey && row.at(column) != "NULL";
    std::multimap<std::string, std::string> old;
    for (const Row& row : before.rows)
        old.emplace(byKey ? keyOf(row) : textOf(row), textOf(row));
    Counts counts;
    for (const Row& row : after.rows) {
        const auto found = old.find(byKey ? keyOf(row) : textOf(row));
        if (found == old.end()) {
            ++counts.inserted;
            continue;
        }
        counts.updated += found->second != textOf(row) ? 1 : 0;
        old.erase(found);
    }
    counts.deleted = old.size();
    return counts;
}

std::map<std::string, std::string> ChangesOf(const Tables& before, const Tables& after) {
    std::map<std::string, std::string> changes;
    std::set<std::string> names;
    for (const Tables* tables : {&before, &after})
        for (const auto& [name, table] : *tables)
            names.insert(name);
    for (const std::string& name : names) {
        Counts counts;
        if (!before.contains(name))
            counts.inserted = after.at(name).rows.size();
        else if (!after.contains(name))
            counts.deleted = before.at(name).rows.size();
        else
            counts = CountChanges(before.at(name), after.at(name));
        if (counts.inserted + counts.updated + counts.deleted > 0)
            changes[name] = counts.ToString();
    }
    return changes;
}

std::map<std::string, std::string> ChangesOf(const Json::Value& result) {
    std::map<std::string, std::string> changes;
    for (const Json::Value& database : result["databases"])
        for (const Json::Value& table : database["tables"])
            changes[database["database"].asString() + ' ' + table["table"].asString()] =
                Counts{table["inserted"].asUInt64(), table["updated"].asUInt64(), table["deleted"].asUInt64()}
                    .ToString();
    return changes;
}

// What the migrations did to each row of a table with a key, one after the other: its first state and its last.
using RowStates = std::map<std::string, std::pair<Json::Value, Json::Value>>;

std::string KeyOf(const Json::Value& database, const Json::Value& table, const Json::Value& row) {
    std::string key;
    for (const Json::Value& column : table["key"]) {
        if (row[column.asString()].isNull())
            return "";
        key += '|' + row[column.asString()].asString();
    }
    return key.empty() ? "" : database["database"].asString() + ' ' + table["table"].asString() + key;
}

// Whether the columns that both have are the same: a row from before the repair lacks some.
bool IsSameRow(const Json::Value& one, const Json::Value& other) {
    if (!one.isObject() || !other.isObject())
        return one.isNull() && other.isNull();
    for (const std::string& column : one.getMemberNames())
        if (other.isMember(column) && one[column] != other[column])
            return false;
    return true;
}

// Of the comparison (`who` is ''): rows of a table that is compared by content come and go, each by itself.
void FollowRows(const Json::Value& databases, const std::string& who, RowStates& states) {
    for (const Json::Value& database : databases)
        for (const Json::Value& table : database["tables"])
            for (const Json::Value& sample : table["samples"]) {
                const Json::Value &before = sample["before"], &after = sample["after"];
                const std::string key = KeyOf(database, table, after.isNull() ? before : after);
                if (key.empty())
                    continue;
                const auto [found, isFirst] = states.try_emplace(key, before, after);
                if (isFirst)
                    continue;
                auto& [first, last] = found->second;
                if (who.empty()) {
                    (before.isNull() ? last : first) = before.isNull() ? after : before;
                } else {
                    EXPECT_TRUE(IsSameRow(last, before)) << who << key;
                    last = after;
                }
            }
}

void ExpectMigrationsMakeTheWhole(const Json::Value& result) {
    RowStates whole, followed;
    FollowRows(result["databases"], "", whole);
    for (const Json::Value& migration : result["migrations"])
        FollowRows(migration["databases"], migration["name"].asString() + ' ', followed);
    for (const auto& [key, states] : followed) {
        const auto found = whole.find(key);
        if (found == whole.end()) {
            EXPECT_EQ(states.first, states.second) << key << " changes in no comparison";
            continue;
        }
        EXPECT_TRUE(IsSameRow(found->second.first, states.first)) << key << " before";
        EXPECT_EQ(found->second.second, states.second) << key << " after";
    }
    for (const auto& [key, states] : whole)
        EXPECT_TRUE(followed.contains(key)) << key << " changes in no migration";
    std::map<std::string, Json::Value> keys;
    for (const Json::Value& migration : result["migrations"])
        for (const Json::Value& change : migration["settings"])
            keys[change["file"].asString() + ' ' + change["key"].asString()] = change["after"];
    for (const Json::Value& change : result["settings"])
        EXPECT_EQ(change["after"], keys[change["file"].asString() + ' ' + change["key"].asString()])
            << change["key"];
}

// --- running it ---------------------------------------------------------------------------------------------

class Rehearse : public SystemTree {
protected:
    Rehearse() { fs::create_directories(Beside()); }
    ~Rehearse() override { fs::remove_all(Beside()); }

    // A folder outside the tree.
    static std::string Beside() {
        std::string root = Path("");
        while (root.ends_with('/'))
            root.pop_back();
        return root + ".beside/";
    }

    static int Run(const std::string& arguments, const char* upgrader = UPGRADER_PROGRAM) {
        VGDB::CloseAll();
        const std::string line = std::string(CONTROL_PROGRAM " rehearse --upgrader ") + upgrader + ' ' +
                                 arguments + " >" + Beside() + "out 2>" + Beside() + "err";
        const int status = std::system(line.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static Json::Value RunJson(const std::string& arguments, int expected) {
        EXPECT_EQ(expected, Run("--json " + arguments))
            << ReadFile(Beside() + "out") << ReadFile(Beside() + "err");
        Json::Value value;
        EXPECT_EQ(0, JsonParse(ReadFile(Beside() + "out"), value)) << ReadFile(Beside() + "out");
        return value;
    }

    static void LaySample(const std::string& build) {
        ASSERT_EQ(
            0, std::system((SOURCE_DIR "/scripts/sample-system " + build + " '" + Path("") + "'").c_str()));
        InstallSchemaFiles();
        // Files that the copy does not have, as far as rows of the databases follow them.
        for (const char* folder : {"/var/services", "/volume1", "/var/packages/Vigilo/target/@Models",
                                   "/var/packages/Vigilo/target/@vigilo/@Models"})
            fs::remove_all(Path(folder));
    }

    // Everything that can be seen of the tree.
    static std::map<std::string, std::string> Listing() {
        std::map<std::string, std::string> entries;
        for (const auto& entry : fs::recursive_directory_iterator(Path(""))) {
            struct stat status {};
            EXPECT_EQ(0, lstat(entry.path().c_str(), &status));
            entries[entry.path()] =
                StringPrintf("%llu %o %u %lld.%ld ", static_cast<unsigned long long>(status.st_ino),
                             status.st_mode, status.st_uid, static_cast<long long>(status.st_mtim.tv_sec),
                             status.st_mtim.tv_nsec) +
                (S_ISREG(status.st_mode) ? ReadFile(entry.path()) : "");
        }
        return entries;
    }

    static std::set<std::string> SettingsLines() {
        const std::vector<std::string> lines = SplitString(Settings(), '\n');
        return {lines.begin(), lines.end()};
    }

    static std::set<std::string> ChangedKeys(const std::set<std::string>& before,
                                             const std::set<std::string>& after) {
        std::set<std::string> keys;
        for (const auto& [one, other] : {std::pair(&before, &after), std::pair(&after, &before)})
            for (const std::string& line : *one)
                if (!other->contains(line))
                    keys.insert(line.substr(0, line.find('=')));
        return keys;
    }

    // Rehearses the upgrade of the system as it stands, upgrades it, and compares what both did.
    static void HoldAgainstTheUpgrade(const std::string& build) {
        const auto listing = Listing();
        VGDB::CloseAll();
        ASSERT_EQ(0, std::system((CONTROL_PROGRAM " rehearse --json --full --upgrader " UPGRADER_PROGRAM
                                                  " --work " +
                                  Beside() + ' ' + build + " >" + Beside() + "out; test $? -ne 1")
                                     .c_str()));
        Json::Value result;
        ASSERT_EQ(0, JsonParse(ReadFile(Beside() + "out"), result));
        EXPECT_TRUE(listing == Listing()) << "the system was touched";
        ExpectMigrationsMakeTheWhole(result);

        const Tables before = ReadTables();
        const std::set<std::string> lines = SettingsLines();
        fs::remove(Path(kHistory));
        EXPECT_EQ(result["status"].asInt(), RunUpgrader(build));
        const Tables after = ReadTables();
        EXPECT_EQ(ChangesOf(before, after), ChangesOf(result));

        std::set<std::string> keys;
        for (const Json::Value& change : result["settings"])
            if (change["file"] == std::string(kSettingsConf))
                keys.insert(change["key"].asString());
        EXPECT_EQ(ChangedKeys(lines, SettingsLines()), keys);

        std::vector<std::string> entries, expected;
        for (const Json::Value& entry : result["log"])
            entries.push_back(entry["log_type"].asString() + ' ' + entry["item_id"].asString());
        std::set<std::string> known;
        for (const Row& row : before.at("@vigilo/log.db log").rows)
            known.insert(row.at("id"));
        for (const Row& row : after.at("@vigilo/log.db log").rows)
            if (!known.contains(row.at("id")))
                expected.push_back(row.at("log_type") + ' ' + row.at("item_id"));
        EXPECT_EQ(expected, entries);

        std::vector<Json::Value> history;
        ASSERT_EQ(0, ReadHistory(history));
        std::vector<std::string> failed, failedInRehearsal;
        for (const Json::Value& row : history.empty() ? Json::Value() : history.back()["migrations"])
            if (row["result"].asInt() < 0)
                failed.push_back(row["name"].asString());
        for (const Json::Value& row : result["failed"])
            failedInRehearsal.push_back(row["name"].asString());
        EXPECT_EQ(failed, failedInRehearsal);
    }
};

TEST_F(Rehearse, TellsWhatTheUpgradeThenDoes) {
    for (const char* build : {"2300", "3000", "6500"}) {
        SCOPED_TRACE(build);
        for (const auto& entry : fs::directory_iterator(Path("")))
            fs::remove_all(entry.path());
        LaySample(build);
        HoldAgainstTheUpgrade(build);
    }
}

// --- systems that nobody has thought of -----------------------------------------------------------------------

class Dice {
public:
    explicit Dice(unsigned seed) : m_engine(seed) {}
    size_t Below(size_t end) { return m_engine() % end; }
    template <class List>
    const auto& Of(const List& list) {
        return list[Below(std::size(list))];
    }

private:
    std::mt19937 m_engine;
};

// Changes rows of any table to values that may make no sense.
void Disturb(Dice& dice) {
    static constexpr const char* kValues[] = {"NULL",        "''",           "0",        "-1",      "1",
                                              "2147483648",  "'1,2,3'",      "'%_''\"'", "x'00ff'", "'[]'",
                                              "'{\"a\":1}'", "'0000000000'", "1.5",      "id",      "id * 7"};
    const DB_INSTANCE db = static_cast<DB_INSTANCE>(dice.Below(3) ? 0 : dice.Below(DB_INSTANCE_COUNT));
    sqlite3* opened = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_open(VGDB::GetDBPath(db).c_str(), &opened));
    const std::unique_ptr<sqlite3, CloseDatabase> close(opened);
    const auto tables = Query(opened,
                              "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE"
                              " 'sqlite_%' ORDER BY name");
    if (tables.empty())
        return;
    const std::string table = '"' + dice.Of(tables)[0] + '"';
    const auto columns = Query(opened, "PRAGMA table_info(" + table + ")");
    const std::string column = '"' + dice.Of(columns)[1] + '"';
    std::string others;
    for (const auto& one : columns)
        if (one[5] == "0")
            others += (others.empty() ? "\"" : ", \"") + one[1] + '"';
    const std::string some = " WHERE rowid % " + std::to_string(1 + dice.Below(4)) + " = 0";
    std::string sql;
    switch (dice.Below(6)) {
        case 0:
            sql = "DELETE FROM " + table + some;
            break;
        case 1:
            sql = "INSERT OR IGNORE INTO " + table + "(" + others + ") SELECT " + others + " FROM " + table +
                  some;
            break;
        case 2:
            sql =
                "CREATE INDEX made" + std::to_string(dice.Below(1000)) + " ON " + table + "(" + column + ")";
            break;
        default:
            sql = "UPDATE OR IGNORE " + table + " SET " + column + " = " + dice.Of(kValues) + some;
    }
    sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr);  // what the table refuses is left
}

// REHEARSED_SYSTEMS in the environment says how many.
TEST_F(Rehearse, TellsWhatTheUpgradeOfARandomSystemDoes) {
    const char* const wanted = std::getenv("REHEARSED_SYSTEMS");
    const unsigned systems = wanted ? static_cast<unsigned>(std::strtoul(wanted, nullptr, 10)) : 3;
    for (unsigned seed = 1; seed <= systems && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        VGDB::StartAnew();
        for (const auto& entry : fs::directory_iterator(Path("")))
            fs::remove_all(entry.path());
        const std::string build = dice.Of(std::vector<std::string>{"2300", "3000", "6500"});
        LaySample(build);
        for (size_t i = 3 + dice.Below(30); i > 0; --i)
            Disturb(dice);
        std::string settings;
        for (const std::string& line : SplitString(Settings(), '\n'))
            settings += line.empty() || dice.Below(8) == 0 ? "" : line + '\n';
        WriteSettings(settings);
        if (dice.Below(5) == 0)
            Sql(DB_SYSTEM,
                "CREATE TRIGGER refuse BEFORE UPDATE ON camera WHEN old.id % 2 BEGIN"
                " SELECT RAISE(ABORT, 'not today'); END");
        HoldAgainstTheUpgrade(
            dice.Of(std::vector<std::string>{build, "0", "2300", "4000", "6000", "8100", "9700"}));
        // What has failed is run again by the next upgrade.
        if (dice.Below(3) == 0) {
            Sql(DB_SYSTEM, "DROP TRIGGER IF EXISTS refuse");
            HoldAgainstTheUpgrade("9760");
        }
    }
}

// --- the system stays as it was ---------------------------------------------------------------------------------

TEST_F(Rehearse, LeavesASystemWithInterruptedCommitsAsItIs) {
    LaySample("6500");
    Sql(DB_RECORDING,
        "CREATE TABLE filler(id INTEGER PRIMARY KEY, b); INSERT INTO filler VALUES(1, zeroblob(900000))");
    Sql(DB_BOOKMARK, "PRAGMA journal_mode = WAL");
    int ends[2] = {-1, -1};
    ASSERT_EQ(0, pipe(ends));
    const pid_t child = fork();
    if (child == 0) {
        sqlite3* db = nullptr;
        sqlite3_open(VGDB::GetDBPath(DB_RECORDING).c_str(), &db);
        sqlite3_exec(db, "PRAGMA cache_size = 1; BEGIN; UPDATE filler SET b = randomblob(900000)", nullptr,
                     nullptr, nullptr);
        sqlite3_open(VGDB::GetDBPath(DB_FACE).c_str(), &db);
        sqlite3_exec(db, "PRAGMA journal_mode = WAL; CREATE TABLE seen(n)", nullptr, nullptr, nullptr);
        (void)!write(ends[1], "", 1);
        pause();
    }
    char byte = 0;
    ASSERT_EQ(1, read(ends[0], &byte, 1));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(fs::exists(VGDB::GetDBPath(DB_RECORDING) + "-journal"));
    ASSERT_TRUE(fs::exists(VGDB::GetDBPath(DB_FACE) + "-wal"));

    const auto before = Listing();
    const Json::Value elsewhere = RunJson("6500 --work " + Beside(), 0);
    EXPECT_TRUE(before == Listing());
    EXPECT_FALSE(ChangesOf(elsewhere).empty());
    EXPECT_FALSE(ChangesOf(elsewhere).contains("@vigilo/recording.db filler")) << "never committed";

    // Beside the snapshots, whose folder comes and goes.
    RunJson("6500", 0);
    auto after = Listing();
    const std::string folder = Path("/var/packages/Vigilo/target/@vigilo");
    EXPECT_EQ(1u, after.erase(folder));
    auto others = before;
    others.erase(folder);
    EXPECT_TRUE(others == after);
}

TEST_F(Rehearse, RemovesItsFolderWhenItIsInterrupted) {
    LaySample("6500");
    WriteFile(Beside() + "slow", "#!/bin/sh\nsleep 100\n");
    fs::permissions(Beside() + "slow", fs::perms(0755));
    const std::string snapshots = Path("/var/packages/Vigilo/target/@vigilo/@UpgradeSnapshots");
    const auto start = [&] {
        const pid_t child = fork();
        if (child == 0) {
            const std::string slow = Beside() + "slow";
            execl(CONTROL_PROGRAM, CONTROL_PROGRAM, "rehearse", "6500", "--upgrader", slow.c_str(), nullptr);
            _exit(127);
        }
        for (int i = 0; i < 500; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            for (const auto& entry :
                 fs::exists(snapshots) ? fs::directory_iterator(snapshots) : fs::directory_iterator())
                if (fs::exists(entry.path() / "after/etc/passwd"))
                    return child;
        }
        ADD_FAILURE() << "it makes no copy";
        return child;
    };
    int status = 0;
    pid_t child = start();
    kill(child, SIGINT);
    waitpid(child, &status, 0);
    EXPECT_EQ(130, WEXITSTATUS(status));
    EXPECT_FALSE(fs::exists(snapshots));

    child = start();
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    EXPECT_FALSE(fs::is_empty(snapshots));
    RunJson("6500", 0);
    EXPECT_TRUE(fs::is_empty(snapshots)) << "the next one removes what a killed one left";
}

TEST_F(Rehearse, RunsTheProgramBesideItAndKeepsTheCopyWhenAsked) {
    LaySample("6500");
    for (const char* program : {CONTROL_PROGRAM, UPGRADER_PROGRAM})
        fs::copy_file(program, Beside() + fs::path(program).filename().native());
    const std::string line = Beside() + "vgupgradectl --json rehearse 6500 --keep >" + Beside() + "out";
    ASSERT_EQ(0, std::system(line.c_str()));
    Json::Value result;
    ASSERT_EQ(0, JsonParse(ReadFile(Beside() + "out"), result));
    const std::string kept = result["kept"].asString();
    EXPECT_TRUE(fs::path(kept).filename().native().starts_with("rehearsal-"));
    EXPECT_NE(ReadFile(kept + "/before/var/packages/Vigilo/target/system.db"),
              ReadFile(kept + "/after/var/packages/Vigilo/target/system.db"));
    EXPECT_EQ(0, Run("6500"));
    EXPECT_TRUE(fs::exists(kept)) << "no leftover of a killed one";
}

// --- what it tells -----------------------------------------------------------------------------------------------

TEST_F(Rehearse, TellsOfFailuresAndRefusesWhatIsNoUpgrade) {
    LaySample("6500");
    Sql(DB_SYSTEM,
        "CREATE TRIGGER refuse BEFORE UPDATE ON camera BEGIN SELECT RAISE(ABORT, 'no room today'); END");
    const Json::Value result = RunJson("6500 --samples 1", 2);
    EXPECT_EQ(255, result["status"].asInt());
    EXPECT_EQ("IntegrateExternalProfileToCam", result["failed"][0]["name"].asString());
    bool told = false;
    for (const Json::Value& message : result["messages"]) {
        told = told || message.asString().find("/var/packages/Vigilo/target/system.db: no room today") !=
                           std::string::npos;
        EXPECT_EQ(std::string::npos, message.asString().find("rehearsal-"))
            << "paths are those of the system";
    }
    EXPECT_TRUE(told);
    for (const Json::Value& database : result["databases"])
        for (const Json::Value& table : database["tables"])
            EXPECT_EQ(1u, table["samples"].size());

    const auto before = Listing();
    EXPECT_EQ(1, Run("6500 --work " + Beside(), "/bin/true"));
    EXPECT_EQ(1, Run("6500 --work " + Beside(), "/nowhere/vgupgrader"));
    EXPECT_EQ(1, Run("8.2.4-6479 --work " + Beside()));
    EXPECT_EQ(1, Run("6500 --html /nowhere/page --work " + Beside()));
    EXPECT_TRUE(before == Listing());
}

TEST_F(Rehearse, ShowsNoSecretAndNoForeignMarkup) {
    LaySample("3000");
    Sql(DB_SYSTEM,
        "UPDATE camera SET name = '<script>alert(1)</script>' || char(27) || '\"&', password = 'hush-1'");
    Sql(DB_SYSTEM,
        "CREATE TABLE later(id INTEGER PRIMARY KEY, api_key, payload);"
        "INSERT INTO later VALUES(1, 'hush-2', '{\"login\":{\"sid\":\"hush-3\"}}');"
        "CREATE TRIGGER copy AFTER UPDATE ON camera BEGIN"
        " INSERT INTO later(api_key, payload) SELECT api_key, payload FROM later WHERE id = 1; END");
    ASSERT_EQ(0, Run("3000 --full --json --html " + Beside() + "page")) << ReadFile(Beside() + "err");
    const std::string json = ReadFile(Beside() + "out"), page = ReadFile(Beside() + "page");
    ASSERT_EQ(0, Run("3000 --full"));
    const std::string text = ReadFile(Beside() + "out");
    for (const std::string* output : {&json, &page, &text}) {
        EXPECT_EQ(std::string::npos, output->find("hush"));
        EXPECT_NE(std::string::npos, output->find("***"));
        EXPECT_EQ(std::string::npos, output->find('\x1b'));
    }
    EXPECT_NE(std::string::npos, page.find("&lt;script&gt;alert(1)&lt;/script&gt;\\x1b&quot;&amp;"));
    EXPECT_EQ(std::string::npos, page.find("<script"));
    for (const std::string& line : SplitString(text, '\n'))
        EXPECT_LE(static_cast<size_t>(
                      std::count_if(line.begin(), line.end(), [](char c) { return (c & '\xc0') != '\x80'; })),
                  100u)
            << line;
}

TEST_F(Rehearse, KnowsTheRowsOnOtherFiles) {
    int rows = 0;
    for (size_t row = 0; row < kMigrationCount; ++row) {
        if (!WorksOnOtherFiles(MigrationAt(row).name))
            continue;
        ++rows;
        EXPECT_TRUE(MigrationAt(row).state == MigrationState::Body ||
                    MigrationAt(row).state == MigrationState::Partial)
            << MigrationAt(row).name;
    }
    EXPECT_EQ(13, rows) << "every name of the list is in the registry";
}

TEST_F(Rehearse, CountsRows) {
    struct {
        const char* before;
        const char* after;
        const char* counts;  // "" when nothing has changed
        const char* schema;
    } const cases[] = {
        {"CREATE TABLE t(id INTEGER PRIMARY KEY, a); INSERT INTO t VALUES(1,'x'),(2,'y'),(3,NULL)",
         "CREATE TABLE t(id INTEGER PRIMARY KEY, a); INSERT INTO t VALUES(1,'x'),(3,''),(4,'z')", "+1 ~1 -1",
         ""},
        {"CREATE TABLE t(id INTEGER PRIMARY KEY); INSERT INTO t VALUES(1),(2)",
         "CREATE TABLE t(id INTEGER PRIMARY KEY, b INTEGER DEFAULT '7', c TEXT DEFAULT 5, d, e DEFAULT (1 + 1));"
         "INSERT INTO t VALUES(1,7,5,NULL,2),(2,8,5,NULL,2)",
         "+0 ~1 -0", "+column t.b +column t.c +column t.d +column t.e"},
        {"CREATE TABLE t(id INTEGER PRIMARY KEY, a COLLATE NOCASE); INSERT INTO t VALUES(1,'x')",
         "CREATE TABLE t(id INTEGER PRIMARY KEY, a COLLATE NOCASE); INSERT INTO t VALUES(1,'X')", "+0 ~1 -0",
         ""},
        {"CREATE TABLE t(a, b, PRIMARY KEY(b, a)) WITHOUT ROWID; INSERT INTO t VALUES(1,1),(1,2)",
         "CREATE TABLE t(a, b, PRIMARY KEY(b, a)) WITHOUT ROWID; INSERT INTO t VALUES(1,1),(2,1)", "+1 ~0 -1",
         ""},
        {"CREATE TABLE t(a); INSERT INTO t VALUES('x'),('x'),('y'),(NULL)",
         "CREATE TABLE t(a, b DEFAULT 0); INSERT INTO t VALUES('y',0),('x',0),(NULL,0),(NULL,0)", "+1 ~0 -1",
         "+column t.b"},
        {"CREATE TABLE t(a TEXT PRIMARY KEY, b); INSERT INTO t VALUES(NULL,1),(NULL,2),('k',3)",
         "CREATE TABLE t(a TEXT PRIMARY KEY, b); INSERT INTO t VALUES(NULL,1),(NULL,9),('k',3)", "+1 ~0 -1",
         ""},
        {"CREATE TABLE t(a, b, PRIMARY KEY(a)); INSERT INTO t VALUES(1,1),(2,2)",
         "CREATE TABLE t(a, b, PRIMARY KEY(b)); INSERT INTO t VALUES(1,1),(2,3)", "+1 ~0 -1", ""},
        {"CREATE TABLE t(a); INSERT INTO t VALUES(1); CREATE INDEX i ON t(a)", "", "+0 ~0 -1",
         "-table t -index i"},
        {"", "CREATE TABLE t(a); INSERT INTO t VALUES(1),(1); CREATE INDEX i ON t(a)", "+2 ~0 -0",
         "+table t +index i"},
        {"CREATE TABLE t(rowid, _rowid_, oid); INSERT INTO t VALUES(1,1,1),(1,1,1)",
         "CREATE TABLE t(rowid, _rowid_, oid); INSERT INTO t VALUES(1,1,1)", "+0 ~0 -1", ""},
        {"CREATE TABLE other(a); INSERT INTO other VALUES(1)", "", "", ""},
    };
    for (const auto& [before, after, counts, schema] : cases) {
        SCOPED_TRACE(std::string(before) + " => " + after);
        VGDB::CloseAll();
        for (const auto& [db, sql] : {std::pair(DB_POS, before), std::pair(DB_EDGE, after)}) {
            fs::remove(VGDB::GetDBPath(db));
            if (*sql)
                Sql(db, sql);
        }
        VGDB::DatabaseChanges changes;
        std::string problem;
        uint64_t inserted = 0;
        VGDB::CompareWay way{.samples = 9, .leftOut = "other", .table = "", .id = "", .log = "t"};
        way.inserted = [&inserted](const VGDB::TableRow&) { ++inserted; };
        ASSERT_EQ(0, VGDB::CompareDatabases(VGDB::GetDBPath(DB_POS), VGDB::GetDBPath(DB_EDGE), way, changes,
                                            problem))
            << problem;
        std::string seen;
        for (const VGDB::TableChanges& table : changes.tables) {
            seen += Counts{table.inserted, table.updated, table.deleted}.ToString();
            EXPECT_EQ(table.inserted + table.updated + table.deleted, table.samples.size());
            EXPECT_EQ(table.inserted, inserted);
        }
        EXPECT_EQ(counts, seen);
        EXPECT_EQ(schema, JoinStrings(changes.schema, " "));
    }
}

}  // namespace
