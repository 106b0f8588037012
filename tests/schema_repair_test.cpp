#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/vgdb/schema_compare.h"
#include "platform/vgdb/vgdb.h"
#include "tests/support/system_tree.h"
#include "upgrader/repair.h"

namespace {

class SchemaRepair : public SystemTree {
protected:
    static constexpr DB_INSTANCE kDb = DB_BOOKMARK;

    // Compares the database with the declared schema and repairs it, as the driver does.
    int Repair(std::string_view declared) {
        const std::string path = VGDB::GetDBPath(kDb);
        WriteFile(VGDB::GetSqlFile(path), declared);
        m_sql.clear();
        m_missing.clear();
        DatabaseRepair repair{.db = kDb, .path = path, .known = false, .differences = {}};
        repair.known = VGDB::CompareSchema(path, VGDB::GetSqlFile(path), repair.differences) == 0;
        m_sql = repair.differences.sql;
        m_missing = repair.differences.names;
        RepairReport report;
        RepairDatabase(repair, report, LogSite::Here());
        return report.notRepaired.empty() ? 0 : -1;
    }

    std::string m_sql;
    VGDB::MissingNames m_missing;
};

using Names = VGDB::MissingNames;

TEST_F(SchemaRepair, CreatesAMissingTableWithItsRowsIndexesAndTriggers) {
    Sql(kDb, "CREATE TABLE old(id INTEGER PRIMARY KEY); INSERT INTO old VALUES(1)");
    const std::string declared =
        "CREATE TABLE old(id INTEGER PRIMARY KEY);"
        "INSERT INTO old VALUES(2);"  // only for a table that is missing as a whole
        "CREATE TABLE new(id INTEGER PRIMARY KEY AUTOINCREMENT, name TEXT NOT NULL DEFAULT '' COLLATE "
        "NOCASE);"
        "CREATE UNIQUE INDEX new_name ON new(name);"
        "INSERT INTO new(id, name) VALUES(7, 'it''s'), (8, '');"
        "CREATE TRIGGER new_insert AFTER INSERT ON new BEGIN DELETE FROM old; END;";
    ASSERT_EQ(0, Repair(declared));
    EXPECT_EQ((Names{{"new", {"*"}}}), m_missing);
    EXPECT_EQ("7|it's\n8|\n", Rows(kDb, "SELECT * FROM new"));
    EXPECT_EQ("1\n", Rows(kDb, "SELECT * FROM old"));
    EXPECT_EQ(
        "new_insert\nnew_name\n",
        Rows(kDb, "SELECT name FROM sqlite_schema WHERE tbl_name = 'new' AND type <> 'table' ORDER BY 1"));

    ASSERT_EQ(0, Repair(declared));
    EXPECT_EQ("", m_sql) << "what is repaired lacks nothing";
    EXPECT_TRUE(m_missing.empty());
}

TEST_F(SchemaRepair, AddsMissingColumnsAsTheyAreDeclared) {
    Sql(kDb,
        "CREATE TABLE Camera(ID INTEGER PRIMARY KEY, \"Odd Name\" TEXT, extra);"
        "INSERT INTO Camera VALUES(1, 'x', 'keep')");
    ASSERT_EQ(
        0,
        Repair(
            "CREATE TABLE camera(id INTEGER PRIMARY KEY, \"odd name\" TEXT,"
            " model TEXT NOT NULL DEFAULT 'it''s' COLLATE NOCASE, fps INTEGER DEFAULT -1,"
            " rate REAL DEFAULT 1.5, raw, flag BOOLEAN NOT NULL DEFAULT TRUE, word \"INT NOT NULL\", \"a \"\"b\" TEXT "
            "DEFAULT \"\");"));
    EXPECT_EQ((Names{{"camera", {"model", "fps", "rate", "raw", "flag", "word", "a \"b"}}}), m_missing);
    EXPECT_EQ("1|x|keep|it's|-1|1.5||1||\n", Rows(kDb, "SELECT * FROM camera"));
    EXPECT_EQ("model|TEXT|1|'it''s'\nfps|INTEGER|0|-1\nword|INT NOT NULL|0|\n",
              Rows(kDb,
                   "SELECT name, type, \"notnull\", dflt_value FROM "
                   "pragma_table_info('camera') WHERE name IN ('model', 'fps', 'word')"));
    EXPECT_EQ("1\n", Rows(kDb, "SELECT count(*) FROM camera WHERE model = 'IT''S'")) << "collation";
}

TEST_F(SchemaRepair, RefusesAColumnThatSqliteCannotAdd) {
    const struct {
        const char* column;
        const char* why;
        bool alsoWhenEmpty;
    } cases[] = {
        {"c INTEGER NOT NULL", "the rows that are there would have no value for it", false},
        {"c TEXT DEFAULT ('a' || 'b')", "the rows that are there would have no value for it", false},
        {"c TEXT DEFAULT CURRENT_TIMESTAMP", "the rows that are there would have no value for it", false},
        {"c INTEGER UNIQUE", "it is unique", true},
        {"c AS (id + 1)", "it is generated", true},
        {"c INTEGER, PRIMARY KEY(id, c)", "it belongs to the primary key", true},
    };
    for (const auto& [column, why, alsoWhenEmpty] : cases) {
        const std::string declared =
            "CREATE TABLE t(id INTEGER, " + std::string(column) + "); CREATE TABLE u(x);";
        VGDB::CloseAll();
        std::filesystem::remove(VGDB::GetDBPath(kDb));
        Sql(kDb, "CREATE TABLE t(id INTEGER)");
        EXPECT_EQ(alsoWhenEmpty ? -1 : 0, Repair(declared)) << column;
        EXPECT_EQ(1, VGDB::FindTable(kDb, "u")) << column << ": what can be added is";

        VGDB::CloseAll();
        std::filesystem::remove(VGDB::GetDBPath(kDb));
        Sql(kDb, "CREATE TABLE t(id INTEGER); INSERT INTO t VALUES(1)");
        EXPECT_EQ(-1, Repair(declared)) << column;
        EXPECT_GE(CountInLog(": cannot add column t.c: " + std::string(why) + "\n"), 1) << column;
    }
}

TEST_F(SchemaRepair, CreatesMissingIndexesAfterTheColumns) {
    Sql(kDb,
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, b TEXT, c); CREATE INDEX T_A ON t(a);"
        "INSERT INTO t VALUES(1, 'x', 'y', NULL), (2, 'X', 'y', NULL)");
    const std::string declared =
        "CREATE TABLE t(id INTEGER PRIMARY KEY, a TEXT, b TEXT, c, d INTEGER DEFAULT 0, e);"
        "CREATE INDEX t_a ON t(a, b); CREATE INDEX t_d ON t(d DESC, a) WHERE d > 0;"
        "CREATE UNIQUE INDEX u_a ON t(a); CREATE UNIQUE INDEX u_nocase ON t(a COLLATE NOCASE);"
        "CREATE UNIQUE INDEX u_b ON t(b); CREATE UNIQUE INDEX u_c ON t(b, c);"
        "CREATE UNIQUE INDEX u_d ON t(d); CREATE UNIQUE INDEX u_e ON t(e);";
    const std::string path = VGDB::GetDBPath(kDb);
    WriteFile(VGDB::GetSqlFile(path), declared);
    VGDB::SchemaDifferences differences;
    ASSERT_EQ(0, VGDB::CompareSchema(path, VGDB::GetSqlFile(path), differences));
    EXPECT_EQ((std::vector<std::string>{"t.d", "t.e"}), differences.columns);
    EXPECT_EQ((std::vector<std::string>{"t_d", "u_a", "u_c", "u_e"}), differences.indexes);
    EXPECT_EQ((std::vector<std::string>{"u_nocase: rows are alike in it", "u_b: rows are alike in it",
                                        "u_d: rows are alike in it"}),
              differences.indexesLeftOut);

    ASSERT_EQ(0, Repair(declared));
    EXPECT_EQ((Names{{"t", {"d", "e"}}}), m_missing) << "indexes do not count";
    EXPECT_EQ("T_A\nt_d\nu_a\nu_c\nu_e\n",
              Rows(kDb, "SELECT name FROM sqlite_schema WHERE type = 'index' ORDER BY name"));
    EXPECT_EQ("CREATE INDEX t_d ON t(d DESC, a) WHERE d > 0\n",
              Rows(kDb, "SELECT sql FROM sqlite_schema WHERE name = 't_d'"));
    ASSERT_EQ(0, Repair(declared));
    EXPECT_EQ("", m_sql);
}

TEST_F(SchemaRepair, TellsTypesThatTreatValuesDifferently) {
    Sql(kDb, "CREATE TABLE t(a INTEGER, b VARCHAR(9), c, d)");
    const std::string path = VGDB::GetDBPath(kDb);
    WriteFile(VGDB::GetSqlFile(path),
              "CREATE TABLE t(a BIGINT, b INTEGER, c BLOB, d TEXT, e UNIQUE);"
              "CREATE INDEX i ON t(e);");
    VGDB::SchemaDifferences differences;
    ASSERT_EQ(0, VGDB::CompareSchema(path, VGDB::GetSqlFile(path), differences));
    EXPECT_EQ(
        (std::vector<std::string>{"t.b: VARCHAR(9) instead of INTEGER", "t.d: no type instead of TEXT"}),
        differences.typesThatDiffer);
    EXPECT_EQ((std::vector<std::string>{"t.e: it is unique"}), differences.columnsNotAddable);
    EXPECT_EQ((std::vector<std::string>{"i: its column e cannot be added"}), differences.indexesLeftOut);
    EXPECT_EQ("", differences.sql);
}

TEST_F(SchemaRepair, LeavesWhatTheSchemaDoesNotKnow) {
    Sql(kDb,
        "CREATE TABLE mine(a); INSERT INTO mine VALUES(1); CREATE VIEW v AS SELECT 1;"
        "CREATE TABLE t(id TEXT, other); CREATE INDEX i ON t(other)");
    const std::string before = Rows(kDb, "SELECT sql FROM sqlite_schema");
    ASSERT_EQ(0, Repair("CREATE TABLE t(id INTEGER PRIMARY KEY);"));
    EXPECT_EQ(before, Rows(kDb, "SELECT sql FROM sqlite_schema"))
        << "a column of another type stays as it is";
}

// The package's own files: each must be able to bring any older system to it, whatever rows that holds.
TEST_F(SchemaRepair, CanAddEveryColumnOfThePackageToTablesWithRows) {
    for (int i = 0; i < DB_INSTANCE_COUNT; ++i) {
        const DB_INSTANCE db = static_cast<DB_INSTANCE>(i);
        const std::string path = VGDB::GetDBPath(db);
        const std::string schema =
            SOURCE_DIR "/schema/" + std::filesystem::path(VGDB::GetSqlFile(path)).filename().string();
        CreateFromSchema(db);
        std::string old;
        std::list<std::string> tables;
        ASSERT_EQ(0,
                  VGDB::LoadFieldFromDB(db, "SELECT name FROM sqlite_schema WHERE type = 'table'", tables));
        for (const std::string& table : tables) {
            // The oldest form that can be: the key columns alone, with a row.
            std::string keys;
            ASSERT_EQ(
                0, VGDB::LoadFirstFieldFromDB(
                       db, "SELECT group_concat(name) FROM pragma_table_info('" + table + "') WHERE pk > 0",
                       keys));
            old += "CREATE TABLE " + table + "(" + (keys.empty() ? "dummy" : keys) + "); INSERT INTO " +
                   table + " DEFAULT VALUES;";
        }
        VGDB::CloseAll();
        std::filesystem::remove(path);
        Sql(db, old);
        VGDB::SchemaDifferences differences;
        EXPECT_EQ(0, VGDB::CompareSchema(path, schema, differences)) << path;
        EXPECT_EQ((std::vector<std::string>()), differences.columnsNotAddable);
        EXPECT_EQ(0, VGDB::Executep(path, differences.sql)) << path;
    }
    EXPECT_EQ("", Log());
}

TEST_F(SchemaRepair, AddsWhatItCanAndLetsNobodyTakeTheRestForAbsent) {
    Sql(kDb, "CREATE TABLE t(a); INSERT INTO t VALUES(1); CREATE VIEW v AS SELECT 1;");
    const std::string path = VGDB::GetDBPath(kDb);
    WriteFile(VGDB::GetSqlFile(path),
              "CREATE TABLE t(id INTEGER PRIMARY KEY, a, b TEXT); CREATE TABLE v(x); ATTACH '/tmp/x' AS y;");
    DatabaseRepair repair{.db = kDb, .path = path, .known = false, .differences = {}};
    EXPECT_EQ(-1, VGDB::CompareSchema(path, VGDB::GetSqlFile(path), repair.differences))
        << "it attaches nothing";
    WriteFile(VGDB::GetSqlFile(path),
              "CREATE TABLE t(id INTEGER PRIMARY KEY, a, b TEXT); CREATE TABLE v(x);");
    repair.known = VGDB::CompareSchema(path, VGDB::GetSqlFile(path), repair.differences) == 0;
    RepairReport report;
    RepairDatabase(repair, report, LogSite::Here());
    EXPECT_EQ((std::vector<std::string>{"column t.b"}), report.added[kDb]);
    EXPECT_TRUE(report.notRepaired.contains(kDb));
    EXPECT_EQ(1, CountInLog(path + ": cannot add column t.id: it belongs to the primary key\n"));
    EXPECT_EQ(1, CountInLog(path + ": cannot add table v: a view stands in its place\n"));
    EXPECT_EQ(1, CountInLog("Failed to repair missing schema of " + path + "\n"));
    EXPECT_EQ(1, VGDB::FindColumn(kDb, "t", "b"));
    EXPECT_EQ(-1, VGDB::FindColumn(kDb, "T", "ID"));
    EXPECT_EQ(-1, VGDB::FindTable(kDb, "v"));
    EXPECT_EQ(0, VGDB::FindTable(kDb, "never"));
}

TEST_F(SchemaRepair, TellsWhichFileIsAtFault) {
    const std::string path = VGDB::GetDBPath(kDb);
    const std::string schema = VGDB::GetSqlFile(path);
    VGDB::SchemaDifferences differences;
    EXPECT_EQ(-1, VGDB::CompareSchema(path, schema, differences));
    EXPECT_EQ(1, CountInLog("No schema file " + schema));
    EXPECT_EQ(-1, Repair("CREATE TABLE t(id"));
    EXPECT_EQ(1, CountInLog("Schema file " + schema + ": incomplete input"));
    EXPECT_EQ(-1, Repair(std::string_view("CREATE TABLE t(id);\n\0\0CREATE TABLE u(id);", 41)));
    EXPECT_EQ(1, CountInLog("Schema file " + schema + ": damaged, it holds a NUL"))
        << "no end of what is declared";
    EXPECT_EQ(-1, Repair("CREATE TABLE t(id);"));
    EXPECT_EQ(1, CountInLog(path + ": unable to open database file"));
    WriteFile(path, std::string(4096, 'x'));
    EXPECT_EQ(-1, Repair("CREATE TABLE t(id);"));
    EXPECT_LE(1, CountInLog(path + ": file is not a database"));
}

}  // namespace
