#include "platform/vgdb/vgdb.h"

#include <sqlite3.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <set>
#include <string>
#include <thread>

#include "platform/files/flush_later.h"
#include "tests/support/system_tree.h"
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
    ::Rows rows;
    ASSERT_EQ(0, Query(DB_SYSTEM,
                       "SELECT id, name, n, '-9223372036854775808' AS big, '2; x' AS text FROM t ORDER BY id",
                       rows));
    EXPECT_EQ(2, rows.Count());
    ASSERT_TRUE(rows.Next());
    EXPECT_STREQ("one", rows.Text("NAME")) << "names are compared as SQLite compares them";
    EXPECT_EQ(11, rows.Int("n"));
    EXPECT_EQ(INT64_MIN, rows.Int64("big"));
    EXPECT_EQ(0, rows.Int("big")) << "low 32 bits";
    EXPECT_EQ(INT64_MIN, rows.Id("big"));
    EXPECT_EQ(std::nullopt, rows.Id("text"));
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

    const std::string insert = "INSERT INTO t(name) VALUES('three');SELECT last_insert_rowid() AS id;";
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
    }
}

TEST_F(DataAccess, TellsWhatIsThere) {
    EXPECT_EQ(1, VGDB::FindTable(DB_SYSTEM, "T"));
    EXPECT_EQ(0, VGDB::FindTable(DB_SYSTEM, "t' OR '1"));
    EXPECT_EQ(0, VGDB::FindTable(DB_FACE, "t")) << "no such database";
    EXPECT_EQ(1, VGDB::FindColumns(DB_SYSTEM, "t", {"Name", "n"}));
    EXPECT_EQ(0, VGDB::FindColumns(DB_SYSTEM, "t", {"name", "nam"}));
    EXPECT_EQ(0, VGDB::FindColumn(DB_SYSTEM, "nowhere", "name"));
    std::list<std::string> names;
    EXPECT_EQ(0, VGDB::LoadFieldFromDB(DB_SYSTEM, "SELECT name FROM t ORDER BY id", names));
    EXPECT_EQ((std::list<std::string>{"one", ""}), names);
}

TEST_F(DataAccess, WaitsForABusyDatabase) {
    ASSERT_EQ(1, VGDB::FindTable(DB_SYSTEM, "t"));
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

// Another process, as far as SQLite's locks are concerned.
class Other {
public:
    explicit Other(DB_INSTANCE db) { sqlite3_open(VGDB::GetDBPath(db).c_str(), &m_db); }
    Other(const Other&) = delete;
    Other& operator=(const Other&) = delete;
    ~Other() { sqlite3_close(m_db); }
    int Run(const char* sql) { return sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr); }

private:
    sqlite3* m_db = nullptr;
};

constexpr std::chrono::milliseconds kMoment{20};

TEST_F(DataAccess, GuardsTellWhatIsNotThereFromWhatCannotBeRead) {
    EXPECT_EQ(1, VGDB::FindTable(DB_SYSTEM, "T"));
    EXPECT_EQ(0, VGDB::FindTable(DB_SYSTEM, "nowhere"));
    EXPECT_EQ(1, VGDB::FindColumns(DB_SYSTEM, "t", {"id", "NAME"}));
    EXPECT_EQ(0, VGDB::FindColumns(DB_SYSTEM, "t", {"id", "no_such"}));
    EXPECT_EQ(0, VGDB::FindColumn(DB_SYSTEM, "nowhere", "id"));
    EXPECT_EQ(0, VGDB::FindTable(DB_FACE, "t")) << "no such file";
    EXPECT_EQ("", Log());

    WriteFile(VGDB::GetDBPath(DB_POS), std::string(4096, 'x'));
    fs::create_directory(VGDB::GetDBPath(DB_EDGE));
    Other other(DB_SYSTEM);
    ASSERT_EQ(SQLITE_OK, other.Run("BEGIN EXCLUSIVE"));
    VGDB::SetPatience(kMoment, kMoment);
    for (const DB_INSTANCE db : {DB_POS, DB_EDGE, DB_SYSTEM}) {
        EXPECT_EQ(-1, VGDB::FindTable(db, "t")) << db;
        EXPECT_EQ(-1, VGDB::FindColumn(db, "t", "id")) << db;
        EXPECT_EQ(-1, VGDB::FindColumns(db, "t", {"id"})) << db;
        EXPECT_GE(CountInLog(VGDB::GetDBPath(db) + ": "), 1) << db;
    }
}

TEST_F(DataAccess, ProbesByReading) {
    using enum VGDB::DBState;
    EXPECT_EQ(Usable, VGDB::Probe(DB_SYSTEM));
    EXPECT_EQ(Missing, VGDB::Probe(DB_FACE));
    WriteFile(VGDB::GetDBPath(DB_LOG), "");
    EXPECT_EQ(Usable, VGDB::Probe(DB_LOG)) << "an empty file is an empty database";
    WriteFile(VGDB::GetDBPath(DB_POS), std::string(4096, 'x'));
    EXPECT_EQ(NotADatabase, VGDB::Probe(DB_POS));
    fs::create_directory(VGDB::GetDBPath(DB_EDGE));
    EXPECT_EQ(Unreadable, VGDB::Probe(DB_EDGE));
    VGDB::SetPatience(kMoment, kMoment);
    Other other(DB_SYSTEM);
    ASSERT_EQ(SQLITE_OK, other.Run("BEGIN EXCLUSIVE"));
    EXPECT_EQ(Busy, VGDB::Probe(DB_SYSTEM));
}

TEST_F(DataAccess, HoldsATransactionOfManyTexts) {
    Sql(DB_POS, "CREATE TABLE pos(x)");
    VGDB::Hold(VGDB::Holding::All);
    const long long before = VGDB::ChangedRows();
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 12 WHERE id = 1;"));
    EXPECT_NE(0, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 0; INSERT INTO nowhere VALUES(1);"));
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "CREATE TABLE u(x); INSERT INTO u SELECT n FROM t WHERE id = 1;"));
    EXPECT_EQ(0, VGDB::Execute(DB_POS, "INSERT INTO pos VALUES(1);"));
    EXPECT_EQ(3, VGDB::ChangedRows() - before) << "a text that failed changes no row";
    EXPECT_EQ("11\n", Rows(DB_SYSTEM, "SELECT n FROM t WHERE id = 1")) << "nobody else sees it yet";
    EXPECT_EQ("", Rows(DB_POS, "SELECT x FROM pos"));
    ASSERT_EQ("", VGDB::CommitOthers());
    EXPECT_EQ("1\n", Rows(DB_POS, "SELECT x FROM pos"));
    EXPECT_EQ("11\n", Rows(DB_SYSTEM, "SELECT n FROM t WHERE id = 1"));
    ASSERT_EQ(0, VGDB::CommitMain());
    EXPECT_EQ("12|12\n", Rows(DB_SYSTEM, "SELECT n, x FROM t, u WHERE id = 1"));

    VGDB::Hold(VGDB::Holding::Main);
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "DROP TABLE u;"));
    EXPECT_EQ(0, VGDB::Execute(DB_POS, "INSERT INTO pos VALUES(2);"));
    EXPECT_EQ("1\n2\n", Rows(DB_POS, "SELECT x FROM pos")) << "it is not held";
    VGDB::Hold(VGDB::Holding::None);
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "UPDATE u SET x = 13;")) << "the holding is over";
    EXPECT_EQ("13\n", Rows(DB_SYSTEM, "SELECT x FROM u"));
    EXPECT_EQ("", VGFilesFlush());
}

TEST_F(DataAccess, WaitsForReadersAtTheCommit) {
    Other reader(DB_SYSTEM);
    const auto holdARow = [] {
        VGDB::Hold(VGDB::Holding::All);
        return VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 12 WHERE id = 1;");
    };
    ASSERT_EQ(SQLITE_OK, reader.Run("BEGIN; SELECT * FROM t"));
    ASSERT_EQ(0, holdARow());
    VGDB::SetPatience(kMoment, kMoment);
    EXPECT_EQ(-1, VGDB::CommitMain());
    std::string why;
    EXPECT_TRUE(VGDB::IsHeldLost(why));
    EXPECT_EQ(VGDB::GetDBPath(DB_SYSTEM) + ": database is locked", why);
    EXPECT_EQ(SQLITE_OK, reader.Run("COMMIT; SELECT * FROM t"));
    EXPECT_EQ("11\n", Rows(DB_SYSTEM, "SELECT n FROM t WHERE id = 1"));

    ASSERT_EQ(SQLITE_OK, reader.Run("BEGIN; SELECT * FROM t"));
    ASSERT_EQ(0, holdARow());
    std::thread leaves([&reader] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1200));
        reader.Run("COMMIT");
    });
    VGDB::SetPatience(std::chrono::seconds(20), std::chrono::seconds(20));
    EXPECT_EQ(0, VGDB::CommitMain());
    leaves.join();
    EXPECT_EQ("12\n", Rows(DB_SYSTEM, "SELECT n FROM t WHERE id = 1"));
    EXPECT_EQ(1, CountInLog("(Execute): Waiting for " + VGDB::GetDBPath(DB_SYSTEM) +
                            ", which another process holds.\n"));
}

// A full disk: a limit of the process's files, which SQLite meets when it writes out what it cannot keep.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_before); }

private:
    rlimit m_before{};
};

TEST_F(DataAccess, NoticesThatSqliteHasRolledBackWhatIsHeld) {
    Sql(DB_SYSTEM, "CREATE TABLE big(x)");
    VGDB::Hold(VGDB::Holding::All);
    ASSERT_EQ(0, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 12 WHERE id = 1;"));
    {
        const FileSizeLimit full(1024 * 1024);
        // Several statements: one alone would be undone alone.
        EXPECT_EQ(-1,
                  VGDB::Execute(DB_SYSTEM,
                                "PRAGMA cache_size = 10; INSERT INTO big WITH RECURSIVE n(i) AS (VALUES(1) "
                                "UNION ALL SELECT i + 1 FROM n LIMIT 4000) SELECT randomblob(1000) FROM n;"));
    }
    std::string why;
    ASSERT_TRUE(VGDB::IsHeldLost(why));
    EXPECT_EQ(-1, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 13 WHERE id = 1;"));
    EXPECT_EQ(-1, VGDB::FindTable(DB_SYSTEM, "t"));
    EXPECT_EQ(1, CountInLog(": its transaction was rolled back"));
    EXPECT_EQ(-1, VGDB::CommitMain());
    EXPECT_EQ("11\n", Rows(DB_SYSTEM, "SELECT n FROM t WHERE id = 1"));
    VGDB::Hold(VGDB::Holding::None);
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 14 WHERE id = 1;")) << "told, it goes on";
}

TEST_F(DataAccess, WritesNoMoreToADamagedDatabase) {
    Sql(DB_SYSTEM, "CREATE TABLE big(x); INSERT INTO big VALUES(zeroblob(20000)), (1)");
    const std::string path = VGDB::GetDBPath(DB_SYSTEM);
    const std::string rootPage =
        Rows(DB_SYSTEM, "SELECT 4096 * (rootpage - 1) FROM sqlite_schema WHERE name = 'big'");
    std::string bytes = ReadFile(path);
    bytes.replace(std::stoul(rootPage), 100, std::string(100, '\xff'));
    WriteFile(path, bytes);

    VGDB::Hold(VGDB::Holding::All);
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 12 WHERE id = 1;"));
    DBResult_tag* rows = nullptr;
    EXPECT_EQ(-1, VGDB::Execute(DB_SYSTEM, "SELECT * FROM big", &rows));
    std::string why;
    EXPECT_TRUE(VGDB::IsHeldLost(why));
    VGDB::Hold(VGDB::Holding::None);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(-1, VGDB::Execute(DB_SYSTEM, "UPDATE t SET n = 12 WHERE id = 1;"));
        EXPECT_EQ(1, VGDB::FindTable(DB_SYSTEM, "t")) << "what can be read is read";
        VGDB::CloseAll();
    }
    EXPECT_EQ(1, CountInLog("(Execute): Damaged, not written to any more: " + path + "\n"));
    EXPECT_EQ(bytes, ReadFile(path));

    WriteFile(VGDB::GetDBPath(DB_POS), std::string(4096, 'x'));
    EXPECT_EQ(-1, VGDB::Execute(DB_POS, "CREATE TABLE t(x);"));
    EXPECT_EQ(1, CountInLog("Damaged, not written to any more: " + VGDB::GetDBPath(DB_POS) + "\n"));
}

TEST_F(DataAccess, GivesABusyDatabaseItsPatienceOnce) {
    Other other(DB_SYSTEM);
    ASSERT_EQ(SQLITE_OK, other.Run("BEGIN IMMEDIATE"));
    const auto milliseconds = [](const char* sql) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(-1, VGDB::Execute(DB_SYSTEM, sql));
        return (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
    };
    VGDB::SetPatience(std::chrono::milliseconds(400), std::chrono::seconds(10));
    const char* const update = "UPDATE t SET n = 1;";
    EXPECT_GE(milliseconds(update), 390);
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, "SELECT * FROM t;")) << "readers may";
    EXPECT_LT(milliseconds(update), 300) << "it is held on purpose";
    ASSERT_EQ(SQLITE_OK, other.Run("COMMIT"));
    EXPECT_EQ(0, VGDB::Execute(DB_SYSTEM, update));

    VGDB::SetPatience(std::chrono::seconds(10), std::chrono::milliseconds(300));
    ASSERT_EQ(SQLITE_OK, other.Run("BEGIN IMMEDIATE"));
    EXPECT_GE(milliseconds(update), 290);
    Sql(DB_POS, "CREATE TABLE t(n)");
    Other pos(DB_POS);
    ASSERT_EQ(SQLITE_OK, pos.Run("BEGIN EXCLUSIVE"));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, VGDB::FindTable(DB_POS, "t"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(290))
        << "together, they are waited for no longer";
}

// All that stands in a folder and below, bytes included.
std::map<std::string, std::string> Contents(const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        std::string& bytes = files[entry.path().string()];
        std::ifstream file(entry.path(), std::ios::binary);
        if (entry.is_regular_file())
            bytes.assign(std::istreambuf_iterator<char>(file), {});
    }
    return files;
}

TEST_F(DataAccess, ChangesNothingWhenItOnlyReads) {
    const std::string target = fs::path(VGDB::GetDBPath(DB_SYSTEM)).parent_path().string();
    const auto copyWithJournals = [](DB_INSTANCE from, DB_INSTANCE to) {
        for (const char* const suffix : {"", "-journal", "-wal"})
            if (fs::exists(VGDB::GetDBPath(from) + suffix))
                fs::copy_file(VGDB::GetDBPath(from) + suffix, VGDB::GetDBPath(to) + suffix);
    };
    {
        // What a killed process leaves: a log that was not checkpointed, and a journal that undoes a change.
        Other log(DB_EDGE);
        log.Run("PRAGMA journal_mode = WAL; CREATE TABLE t(n); INSERT INTO t VALUES(7)");
        copyWithJournals(DB_EDGE, DB_LOG);
        Sql(DB_FACE, "CREATE TABLE t(n); INSERT INTO t VALUES(7); CREATE TABLE big(x)");
        Other journal(DB_FACE);
        journal.Run(
            "PRAGMA cache_size = 1; BEGIN; UPDATE t SET n = 8; INSERT INTO big WITH RECURSIVE n(i) AS "
            "(VALUES(1) UNION ALL SELECT i + 1 FROM n LIMIT 100) SELECT randomblob(1000) FROM n");
        copyWithJournals(DB_FACE, DB_POS);
    }
    ASSERT_TRUE(fs::exists(VGDB::GetDBPath(DB_LOG) + "-wal"));
    ASSERT_TRUE(fs::exists(VGDB::GetDBPath(DB_POS) + "-journal"));
    WriteFile(VGDB::GetDBPath(DB_BOOKMARK), "");
    WriteFile(VGDB::GetDBPath(DB_BOOKMARK) + "-journal", "left");
    const auto before = Contents(target);

    VGDB::OpenReadOnly();
    for (const DB_INSTANCE db : {DB_LOG, DB_POS}) {
        std::string n;
        EXPECT_EQ(0, VGDB::LoadFirstFieldFromDB(db, "SELECT n FROM t", n));
        EXPECT_EQ("7", n) << db;
    }
    EXPECT_EQ(1, VGDB::FindTable(DB_SYSTEM, "t"));
    EXPECT_EQ(0, VGDB::FindTable(DB_BOOKMARK, "t"));
    EXPECT_EQ(0, VGDB::FindTable(DB_ARCHIVE, "t")) << "no such file";
    for (const DB_INSTANCE db : {DB_SYSTEM, DB_LOG, DB_POS, DB_BOOKMARK})
        EXPECT_EQ(-1, VGDB::Execute(db, "CREATE TABLE u(x);"));
    EXPECT_EQ(before, Contents(target));
    VGDB::CloseAll();
    EXPECT_EQ(before, Contents(target));
}

// In write-ahead mode, beside one who uses it, and when nobody does; and one that somebody keeps for himself.
TEST_F(DataAccess, ReadsBesideOthersAndWaitsForNobody) {
    const std::string target = fs::path(VGDB::GetDBPath(DB_SYSTEM)).parent_path().string();
    const std::string temporary = Path("/tmp");
    fs::create_directory(temporary);
    setenv("TMPDIR", temporary.c_str(), 1);
    Sql(DB_EDGE, "PRAGMA journal_mode = WAL; CREATE TABLE t(n); INSERT INTO t VALUES(6)");
    Other user(DB_LOG);
    user.Run("PRAGMA journal_mode = WAL; CREATE TABLE t(n); INSERT INTO t VALUES(7)");
    Other holder(DB_POS);
    holder.Run("CREATE TABLE t(n)");
    // The index is this process's own here, and shared with the other connection.
    const auto look = [&] {
        auto files = Contents(target);
        files.erase(VGDB::GetDBPath(DB_LOG) + "-shm");
        return files;
    };
    const auto before = look();
    holder.Run("BEGIN EXCLUSIVE");  // which looking at the file would have ended

    VGDB::OpenReadOnly();
    const auto begin = std::chrono::steady_clock::now();
    for (const auto& [db, expected] : {std::pair(DB_EDGE, "6"), {DB_LOG, "7"}}) {
        std::string n;
        EXPECT_EQ(0, VGDB::LoadFirstFieldFromDB(db, "SELECT n FROM t", n));
        EXPECT_EQ(expected, n);
    }
    EXPECT_EQ(VGDB::DBState::Busy, VGDB::Probe(DB_POS));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(500));
    holder.Run("ROLLBACK");
    EXPECT_TRUE(before == look());
    user.Run("INSERT INTO t VALUES(8)");
    std::string n;
    EXPECT_EQ(0, VGDB::LoadFirstFieldFromDB(DB_LOG, "SELECT max(n) FROM t", n));
    EXPECT_EQ("8", n);
    VGDB::CloseAll();
    EXPECT_TRUE(fs::is_empty(temporary)) << "nothing was copied";
    unsetenv("TMPDIR");
}

TEST_F(DataAccess, AppendsStatementsEndedBySemicolons) {
    std::string batch;
    for (const char* const statement : {"UPDATE t SET n = 1", "UPDATE t SET n = 2; ", "", "  "})
        AppendSqlCommand(batch, statement);
    EXPECT_EQ("UPDATE t SET n = 1;UPDATE t SET n = 2;   ", batch);
}

}  // namespace
