#include "platform/vgdb/vgdb.h"

#include <sqlite3.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <list>
#include <set>
#include <string>
#include <thread>

#include "tests/support/system_tree.h"
#include "upgrader/dataaccess/query_result.h"
#include "upgrader/dataaccess/sql.h"

namespace fs = std::filesystem;

namespace {

class DataAccess : public SystemTree {
protected:
    DataAccess() {
        Sql(DB_SYSTEM,
            "CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT UNIQUE, n INTEGER);"
            "INSERT INTO t VALUES(1, 'one', 11), (2, NULL, NULL);");
    }
};

TEST_F(DataAccess, ReadsRowsFieldsAndWhatIsNotThere) {
    QueryResult rows;
    ASSERT_EQ(0, QuerySql(DB_SYSTEM, "SELECT id, name, n, '-9223372036854775808' AS big FROM t ORDER BY id",
                          rows, ""));
    EXPECT_EQ(2, rows.NumRows());
    ASSERT_TRUE(rows.Next());
    EXPECT_STREQ("one", rows.Text("NAME")) << "names are compared as SQLite compares them";
    EXPECT_EQ(11, rows.Int("n"));
    EXPECT_EQ(INT64_MIN, rows.Int64("big"));
    EXPECT_EQ(0, rows.Int("big")) << "low 32 bits";
    EXPECT_EQ(nullptr, rows.Text("no_such_column"));
    ASSERT_TRUE(rows.Next());
    EXPECT_EQ(nullptr, rows.Text("name")) << "NULL is not the empty string";
    EXPECT_EQ("", rows.String("name"));
    EXPECT_EQ(0, rows.Int("n"));
    EXPECT_FALSE(rows.Next());
    EXPECT_FALSE(rows.Next());
}

TEST_F(DataAccess, GivesAnEmptyResultForATextWithoutRowsAndNoneAfterAFailure) {
    DBResult_tag* result = nullptr;
    ASSERT_EQ(0, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 0 WHERE id = 9;", &result));
    ASSERT_NE(nullptr, result);
    unsigned int row = 0;
    EXPECT_EQ(-1, VGDBFetchRow(result, &row));
    EXPECT_EQ(nullptr, VGDBFetchField(result, 0, "n"));
    VGDBFreeResult(result);

    EXPECT_NE(0, VGDB::Execute(DB_SYSTEM, "SELECT nothing FROM t", &result));
    EXPECT_EQ(nullptr, result);
    VGDBFreeResult(nullptr);

    const std::string insert = "INSERT INTO t(name) VALUES('three');" + VGDB::GetReturnIdStatement();
    ASSERT_EQ(0, VGDB::Execute(DB_SYSTEM, insert, &result));
    ASSERT_EQ(0, VGDBFetchRow(result, &row));
    EXPECT_STREQ("3", VGDBFetchField(result, row, "id"));
    VGDBFreeResult(result);
}

TEST_F(DataAccess, AppliesATextWholeOrNotAtAll) {
    const std::string before = Rows(DB_SYSTEM, "SELECT * FROM t");
    const char* const failing[] = {
        "INSERT INTO t(name) VALUES('a'); INSERT INTO t(name) VALUES('one');",
        "DELETE FROM t; CREATE TABLE u(x); INSERT INTO nowhere VALUES(1);",
        "INSERT OR FAIL INTO t(name) SELECT 'x' || value FROM json_each('[1,2,3]') UNION ALL SELECT 'one';",
        "UPDATE t SET n = 5; this is no SQL",
    };
    for (const char* const sql : failing) {
        EXPECT_NE(0, VGDB::Execute(DB_SYSTEM, sql)) << sql;
        EXPECT_EQ(before, Rows(DB_SYSTEM, "SELECT * FROM t")) << sql;
    }
    EXPECT_NE(0, VGDB::Execute(DB_SYSTEM, std::string("DELETE FROM t;\0 x", 17)));
    EXPECT_EQ(before, Rows(DB_SYSTEM, "SELECT * FROM t"));
    EXPECT_EQ("t\n", Rows(DB_SYSTEM, "SELECT name FROM sqlite_schema WHERE type = 'table'"));

    ASSERT_EQ(0,
              VGDB::Execute(DB_SYSTEM, "CREATE TABLE u(x); INSERT INTO u VALUES(1); DELETE FROM t; -- done"));
    EXPECT_EQ("1\n", Rows(DB_SYSTEM, "SELECT x FROM u"));
    EXPECT_EQ("", Rows(DB_SYSTEM, "SELECT * FROM t"));
}

TEST_F(DataAccess, LogsWhatSqliteSaidThenTheCallersMessage) {
    EXPECT_EQ(-1, ExecuteSql(DB_SYSTEM, "UPDATE nowhere SET x = 1", "Failed to execute sql: %s\n"));
    EXPECT_EQ("(Execute): " + VGDB::GetDBPath(DB_SYSTEM) +
                  ": no such table: nowhere [UPDATE nowhere SET x = 1]\n" +
                  "(TestBody): Failed to execute sql: UPDATE nowhere SET x = 1\n",
              Log());
    const std::string secret = "UPDATE nowhere SET x = '" + std::string(500, 'p') + "hidden'";
    EXPECT_NE(0, VGDB::Execute(DB_SYSTEM, secret));
    EXPECT_EQ(0, CountInLog("hidden"));
}

TEST_F(DataAccess, NeverMakesADatabaseThatIsNotThere) {
    EXPECT_NE(0, VGDB::Execute(DB_POS, "CREATE TABLE t(x);"));
    EXPECT_FALSE(fs::exists(VGDB::GetDBPath(DB_POS)));
    Sql(DB_POS, "CREATE TABLE pos(id)");
    EXPECT_EQ(0, VGDB::Execute(DB_POS, "INSERT INTO pos VALUES(1);")) << "it is opened once it is there";
}

TEST_F(DataAccess, BindsParametersInOrder) {
    DBResult_tag* result = nullptr;
    ASSERT_EQ(0, VGDB::Executep(VGDB::GetDBPath(DB_SYSTEM),
                                "UPDATE t SET name = ? WHERE id = ?; SELECT name FROM t WHERE name = ?;",
                                &result, false, true, true, true, {"it's", "2", "it's"}));
    EXPECT_EQ(1, VGDBNumRows(result));
    VGDBFreeResult(result);
}

TEST_F(DataAccess, QuotesText) {
    for (const std::string text : {"", "plain", "it's", "''", "a\nb;--", "caf\xc3\xa9"}) {
        std::string back;
        ASSERT_EQ(0, VGDB::LoadFirstFieldFromDB(DB_SYSTEM, "SELECT " + VGDB::QuoteEscape(text), back));
        EXPECT_EQ(text, back);
        ASSERT_EQ(0,
                  VGDB::LoadFirstFieldFromDB(DB_SYSTEM,
                                             "SELECT '50%_a\\" + VGDB::EscapeString(text) + "' LIKE '" +
                                                 VGDB::EscapeSpecialChars("50%_a\\" + text) + "' ESCAPE '\\'",
                                             back));
        EXPECT_EQ("1", back) << text;
    }
    std::string back;
    ASSERT_EQ(
        0, VGDB::LoadFirstFieldFromDB(
               DB_SYSTEM, "SELECT 'axb' LIKE '" + VGDB::EscapeSpecialChars("a_b") + "' ESCAPE '\\'", back));
    EXPECT_EQ("0", back);
}

TEST_F(DataAccess, TellsWhatIsThere) {
    Sql(DB_SYSTEM, "CREATE TRIGGER tr AFTER INSERT ON t BEGIN SELECT 1; END");
    EXPECT_TRUE(VGDB::CheckTableExist(DB_SYSTEM, "T"));
    EXPECT_FALSE(VGDB::CheckTableExist(DB_SYSTEM, "t' OR '1"));
    EXPECT_FALSE(VGDB::CheckTableExist(DB_FACE, "t")) << "no such database";
    EXPECT_TRUE(VGDB::IsColumnExist(DB_SYSTEM, "t", "Name"));
    EXPECT_FALSE(VGDB::IsColumnExist(DB_SYSTEM, "t", "nam"));
    EXPECT_FALSE(VGDB::IsColumnExist(DB_SYSTEM, "nowhere", "name"));
    std::set<std::string> tables, triggers;
    EXPECT_EQ(0, VGDB::GetTables(DB_SYSTEM, tables));
    EXPECT_EQ(0, VGDB::GetTriggers(DB_SYSTEM, triggers));
    EXPECT_EQ((std::set<std::string>{"t"}), tables);
    EXPECT_EQ((std::set<std::string>{"tr"}), triggers);
    std::list<std::string> names;
    EXPECT_EQ(0, VGDB::LoadFieldFromDB(DB_SYSTEM, "SELECT name FROM t ORDER BY id", names));
    EXPECT_EQ((std::list<std::string>{"one", ""}), names);
}

TEST_F(DataAccess, DumpsATableAndReadsItBack) {
    Sql(DB_SYSTEM,
        "CREATE TABLE \"odd \"\"name\"(a INTEGER, b TEXT, c AS (a + 1), d BLOB);"
        "CREATE INDEX i ON \"odd \"\"name\"(b);"
        "INSERT INTO \"odd \"\"name\" VALUES(1, 'it''s' || char(10) || 'x', x'00ff'), (NULL, NULL, 1.5);"
        "CREATE TRIGGER tr AFTER INSERT ON \"odd \"\"name\" BEGIN DELETE FROM t; END;");
    const std::string query = "SELECT a, b, c, hex(d), typeof(d) FROM \"odd \"\"name\"";
    const std::string before = Rows(DB_SYSTEM, query);
    const std::string dump = Path("/dump.sql");
    ASSERT_EQ(0, VGDB::DumpTableToFile(DB_SYSTEM, "odd \"name", dump));
    ASSERT_EQ(0, VGDB::DropTable(DB_SYSTEM, "odd \"name"));
    ASSERT_EQ(0, VGDB::Vacuum(DB_SYSTEM));
    ASSERT_EQ(0, VGDB::ExecuteByFile(DB_SYSTEM, dump));
    EXPECT_EQ(before, Rows(DB_SYSTEM, query));
    EXPECT_EQ("2\n", Rows(DB_SYSTEM, "SELECT count(*) FROM t"))
        << "the trigger does not fire for restored rows";
    EXPECT_EQ("i\ntr\n", Rows(DB_SYSTEM,
                              "SELECT name FROM sqlite_schema WHERE type IN ('index', 'trigger') AND "
                              "tbl_name LIKE 'odd%' ORDER BY 1"));
    EXPECT_NE(0, VGDB::DumpTableToFile(DB_SYSTEM, "nowhere", dump));
    EXPECT_NE(0, VGDB::ExecuteByFile(DB_SYSTEM, Path("/nowhere.sql")));
    EXPECT_NE(0, VGDB::ExecuteByFile(DB_SYSTEM, Path("/var")));
}

TEST_F(DataAccess, WaitsForABusyDatabase) {
    ASSERT_TRUE(VGDB::CheckTableExist(DB_SYSTEM, "t"));
    std::atomic<bool> held = false;
    std::thread other([&held] {
        sqlite3* db = nullptr;
        sqlite3_open(VGDB::GetDBPath(DB_SYSTEM).c_str(), &db);
        sqlite3_exec(db, "BEGIN EXCLUSIVE; UPDATE t SET n = 1 WHERE id = 1", nullptr, nullptr, nullptr);
        held = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
        sqlite3_close(db);
    });
    while (!held)
        std::this_thread::yield();
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = n + 1 WHERE id = 1;"));
    other.join();
    EXPECT_EQ("2\n", Rows(DB_SYSTEM, "SELECT n FROM t WHERE id = 1"));
}

TEST_F(DataAccess, AppendsStatementsEndedBySemicolons) {
    std::string batch;
    for (const char* const statement : {"UPDATE t SET n = 1", "UPDATE t SET n = 2; ", "", "  "})
        AppendSqlCommand(batch, statement);
    EXPECT_EQ("UPDATE t SET n = 1;UPDATE t SET n = 2;   ", batch);
}

}  // namespace
