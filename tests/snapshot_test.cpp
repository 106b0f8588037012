// Snapshots: what an upgrade can change in place, saved at one instant and brought back whole.
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <thread>

#include "control/snapshot/keep.h"
#include "control/snapshot/restore.h"
#include "control/snapshot/snapshot.h"
#include "control/snapshot/tree_copy.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "tests/support/system_tree.h"
#include "upgrader/restore_mark.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

constexpr const char* kTarget = "/var/packages/Vigilo/target/";
constexpr const char* kSnapshots = "/var/packages/Vigilo/target/@vigilo/@UpgradeSnapshots/";

// What is left of another process when it ends here: its locks go, its journals stay.
class Child {
public:
    // Runs the work in a process that says when it is ready and then does not end by itself.
    explicit Child(const std::function<void(const std::function<void()>& ready)>& work) {
        int ends[2] = {-1, -1};
        EXPECT_EQ(0, pipe(ends));
        m_pid = fork();
        if (m_pid == 0) {
            work([&] { (void)!write(ends[1], "", 1); });
            for (;;)
                pause();
        }
        close(ends[1]);
        char byte = 0;
        EXPECT_EQ(1, read(ends[0], &byte, 1));
        close(ends[0]);
    }
    ~Child() { Kill(); }

    void Kill() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        m_pid = -1;
    }

private:
    pid_t m_pid = -1;
};

sqlite3* Connect(const std::string& path) {
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        abort();
    sqlite3_busy_timeout(db, 10'000);
    return db;
}

void Exec(sqlite3* db, const char* sql) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        abort();
}

class SnapshotTest : public SystemTree {
protected:
    // A small system; there is no pos.db.
    SnapshotTest() {
        Sql(DB_SYSTEM,
            "CREATE TABLE camera(id INTEGER PRIMARY KEY, name TEXT); INSERT INTO camera VALUES(1, 'door')");
        Sql(DB_LOG,
            "CREATE TABLE log(id INTEGER PRIMARY KEY, user TEXT); INSERT INTO log VALUES(1, 'admin')");
        WriteFile(Path(std::string(kTarget) + "@vigilo/face.db"), "no database at all");
        WriteSettings("vg_upgrader_version=\"8.0-3000\"\n");
        WriteFile(Path("/var/packages/Vigilo/etc/a\\b.conf"), "old\n");
        WriteFile(Path("/var/packages/Vigilo/etc/notes.txt"), "mine\n");
        WriteFile(Path(kVariableConf), "x=\"1\"\n");
        fs::permissions(Path(kVariableConf), fs::perms(0640));
        fs::last_write_time(Path(kVariableConf), fs::file_time_type::clock::now() - 1000h);
    }

    // What an upgrade does, and what a killed one leaves.
    static void ChangeEverything() {
        Sql(DB_SYSTEM, "INSERT INTO camera VALUES(2, 'gate'); CREATE TABLE vgupgrader_record(x)");
        fs::remove(VGDB::GetDBPath(DB_LOG));
        Sql(DB_POS, "CREATE TABLE pos(id)");
        for (const DB_INSTANCE db : {DB_SYSTEM, DB_POS, DB_FACE})
            for (const char* suffix : {"-journal", "-wal", "-shm"})
                WriteFile(VGDB::GetDBPath(db) + suffix, "of another database");
        WriteFile(VGDB::GetDBPath(DB_FACE), "otherwise damaged");
        WriteSettings("vg_upgrader_version=\"9.2-9760\"\n");
        fs::remove(Path("/var/packages/Vigilo/etc/a\\b.conf"));
        fs::permissions(Path(kVariableConf), fs::perms(0600));
        fs::last_write_time(Path(kVariableConf), fs::file_time_type::clock::now());
    }

    // Mode, time and content, as a number, of every file of the system, the snapshots aside.
    static std::map<std::string, std::string> Image() {
        std::map<std::string, std::string> image;
        for (const std::string& folder : {Path(kTarget), Path("/var/packages/Vigilo/etc")}) {
            for (auto entry = fs::recursive_directory_iterator(folder); entry != fs::end(entry); ++entry) {
                if (entry->path().filename() == "@UpgradeSnapshots")
                    entry.disable_recursion_pending();
                struct stat status {};
                if (!entry->is_regular_file() || stat(entry->path().c_str(), &status) != 0)
                    continue;
                image[entry->path()] =
                    StringPrintf("%o %ld.%ld %zx", status.st_mode, status.st_mtim.tv_sec,
                                 status.st_mtim.tv_nsec, std::hash<std::string>()(ReadFile(entry->path())));
            }
        }
        return image;
    }

    static SnapshotPlace Place() {
        SnapshotPlace place;
        std::string problem;
        EXPECT_EQ(0, FindSnapshotPlace("", place, problem)) << problem;
        return place;
    }

    // "" or why not.
    static std::string Take(const std::string& name, std::chrono::milliseconds patience = 10s) {
        Snapshot snapshot;
        std::string problem;
        const int result = TakeSnapshot(Place(), name, "for a test", patience, {}, snapshot, problem);
        EXPECT_EQ(result == 0, problem.empty());
        return problem;
    }

    static Snapshot Find(const std::string& name) {
        Snapshot snapshot;
        std::string problem;
        EXPECT_EQ(0, FindSnapshot(Place(), name, snapshot, problem)) << problem;
        return snapshot;
    }

    static std::string Restore(const std::string& name, std::chrono::milliseconds patience = 10s) {
        std::string problem;
        const int result = RestoreSnapshot(Find(name), name, patience, {}, problem);
        EXPECT_EQ(result == 0, problem.empty());
        return problem;
    }

    static std::vector<std::string> Names() {
        std::vector<Snapshot> snapshots;
        std::string problem;
        EXPECT_EQ(0, ListSnapshots(Place(), snapshots, problem)) << problem;
        std::vector<std::string> names;
        for (const Snapshot& snapshot : snapshots)
            names.push_back(snapshot.name + (snapshot.complete ? "" : " (not complete)"));
        return names;
    }

    static std::string History() { return ReadFile(Path(kHistory)); }

    static std::string InSnapshot(const std::string& name, const std::string& file) {
        return Path(kSnapshots) + name + kTarget + file;
    }

    static int Run(const std::string& arguments) {
        const std::string line = CONTROL_PROGRAM " " + arguments + " >/dev/null 2>&1";
        const int status = std::system(line.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(SnapshotTest, BringsBackEveryFileAndNothingElse) {
    const auto before = Image();
    ASSERT_EQ("", Take("one"));
    EXPECT_EQ(before, Image());
    EXPECT_EQ(0, std::system(
                     ("cd " + Path(kSnapshots) + "one && sha256sum --strict --quiet -c SHA256SUMS").c_str()));
    struct stat status {};
    ASSERT_EQ(0, stat((Path(kSnapshots) + "one").c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 07777) << "settings hold passwords";

    ChangeEverything();
    WriteFile(Path("/var/packages/Vigilo/etc/notes.txt"), "newer\n");
    WriteFile(Path("/var/packages/Vigilo/etc/later.conf"), "k=\"v\"\n");
    ASSERT_EQ("", Restore("one"));

    auto expected = before;
    auto after = Image();
    for (const char* name : {"notes.txt", "later.conf"}) {
        EXPECT_NE(before, after) << "what is no part of a snapshot stays";
        after.erase(Path("/var/packages/Vigilo/etc/") + name);
        expected.erase(Path("/var/packages/Vigilo/etc/") + name);
    }
    EXPECT_EQ(expected, after);
    EXPECT_NE(std::string::npos, History().find("\"restored\":\"one\""));
    EXPECT_FALSE(fs::exists(Path(kRestoreMark)));
}

TEST_F(SnapshotTest, RefusesNames) {
    ASSERT_EQ("", Take("one"));
    for (const std::string& name :
         {std::string(), std::string("one"), std::string("a/b"), std::string(".."), std::string(".a"),
          std::string("-a"), std::string("a\nb"), std::string("a\x7f"), std::string(256, 'a')})
        EXPECT_NE("", Take(name)) << name;
    EXPECT_EQ(std::vector<std::string>{"one"}, Names());
    EXPECT_EQ("", Take("it's é one"));
}

// Two databases that are changed in one commit, again and again, while snapshots are taken.
TEST_F(SnapshotTest, HasACommitInAllDatabasesOrInNone) {
    for (const DB_INSTANCE db : {DB_RECORDING, DB_BOOKMARK})
        Sql(db,
            "CREATE TABLE t(n); INSERT INTO t VALUES(0);"
            "CREATE TABLE bulk(b); INSERT INTO bulk VALUES(zeroblob(20000000))");
    Child writer([](const auto& ready) {
        sqlite3* const db = Connect(VGDB::GetDBPath(DB_RECORDING));
        Exec(db, ("ATTACH '" + VGDB::GetDBPath(DB_BOOKMARK) + "' AS other").c_str());
        Exec(db, "PRAGMA synchronous = OFF");
        for (int i = 0;; ++i) {
            Exec(db, "BEGIN; UPDATE main.t SET n = n + 1; UPDATE other.t SET n = n + 1; COMMIT");
            if (i == 0)
                ready();
        }
    });
    std::set<std::string> seen;
    for (int i = 0; i < 10 || (seen.size() < 2 && i < 60); ++i) {
        usleep(20'000);  // the writer's turn
        const std::string name = "s" + std::to_string(i);
        ASSERT_EQ("", Take(name));
        std::string counts[2];
        const char* const files[] = {"@vigilo/recording.db", "@vigilo/bookmark.db"};
        for (int file = 0; file < 2; ++file) {
            sqlite3* const db = Connect(InSnapshot(name, files[file]));
            sqlite3_exec(
                db, "SELECT n FROM t",
                [](void* count, int, char** values, char**) {
                    *static_cast<std::string*>(count) = values[0];
                    return 0;
                },
                &counts[file], nullptr);
            sqlite3_close(db);
        }
        EXPECT_EQ(counts[0], counts[1]);
        seen.insert(counts[0]);
    }
    EXPECT_GT(seen.size(), 1u) << "the writer was not there";
}

TEST_F(SnapshotTest, LeavesTheLogOfWriteAheadModeAsItIs) {
    Child service([](const auto& ready) {
        sqlite3* const db = Connect(VGDB::GetDBPath(DB_RECORDING));
        Exec(db, "PRAGMA journal_mode = WAL; CREATE TABLE t(n); INSERT INTO t VALUES(1)");
        ready();
    });
    const std::string wal = VGDB::GetDBPath(DB_RECORDING) + "-wal";
    const std::string database = ReadFile(VGDB::GetDBPath(DB_RECORDING));
    const std::string log = ReadFile(wal);
    ASSERT_NE("", log);
    ASSERT_EQ("", Take("used"));
    EXPECT_NE("", Restore("used", 100ms)) << "under a service that runs";
    service.Kill();
    ASSERT_EQ("", Take("killed"));
    for (const char* name : {"used", "killed"}) {
        Sql(DB_RECORDING, "UPDATE t SET n = 2; INSERT INTO t SELECT n FROM t");
        ASSERT_EQ("", Restore(name));
        EXPECT_EQ(database, ReadFile(VGDB::GetDBPath(DB_RECORDING)));
        EXPECT_EQ(log, ReadFile(wal));
    }
    EXPECT_EQ("1\n", Rows(DB_RECORDING, "SELECT n FROM t"));
}

TEST_F(SnapshotTest, HasNothingOfAnInterruptedCommit) {
    Sql(DB_RECORDING, "CREATE TABLE t(n, filler); INSERT INTO t VALUES(1, zeroblob(1000000))");
    Child([](const auto& ready) {
        sqlite3* const db = Connect(VGDB::GetDBPath(DB_RECORDING));
        Exec(db,
             "PRAGMA cache_size = 1; BEGIN; UPDATE t SET n = 2; UPDATE t SET filler = randomblob(1000000)");
        ready();
    }).Kill();
    ASSERT_TRUE(fs::exists(VGDB::GetDBPath(DB_RECORDING) + "-journal"));

    // A copy for a look leaves the system as it is, and takes the journal along.
    const auto before = Image();
    const std::string folder = Path("/copy");
    fs::create_directory(folder);
    TreeCopy copy;
    std::string problem;
    ASSERT_EQ(0, CopyTree(folder, {.against = HeldDatabases::Against::WritersAsItStands}, copy, problem))
        << problem;
    EXPECT_EQ(before, Image());
    ASSERT_TRUE(fs::exists(folder + kTarget + "@vigilo/recording.db-journal"));

    ASSERT_EQ("", Take("one"));
    EXPECT_FALSE(fs::exists(InSnapshot("one", "@vigilo/recording.db-journal")));
    Sql(DB_RECORDING, "DELETE FROM t");
    ASSERT_EQ("", Restore("one"));
    EXPECT_EQ("1|1000000\n", Rows(DB_RECORDING, "SELECT n, length(filler) FROM t"));
    fs::rename(folder + kTarget + "@vigilo/recording.db", VGDB::GetDBPath(DB_RECORDING));
    fs::rename(folder + kTarget + "@vigilo/recording.db-journal", VGDB::GetDBPath(DB_RECORDING) + "-journal");
    EXPECT_EQ("1\n", Rows(DB_RECORDING, "SELECT n FROM t"));
}

TEST_F(SnapshotTest, RefusesABusyDatabase) {
    ASSERT_EQ("", Take("one"));
    Sql(DB_POS, "CREATE TABLE pos(id)");
    const auto before = Image();
    Child writer([](const auto& ready) {
        Exec(Connect(VGDB::GetDBPath(DB_POS)), "BEGIN IMMEDIATE");
        ready();
    });
    const std::string problem = Take("two", 200ms);
    EXPECT_NE(std::string::npos, problem.find("pos.db")) << problem;
    EXPECT_NE("", Restore("one", 200ms));
    EXPECT_EQ(before, Image());
    EXPECT_EQ(std::vector<std::string>{"one"}, Names());
    EXPECT_FALSE(fs::exists(Path(kRestoreMark)));
}

TEST_F(SnapshotTest, RefusesWhatTheDiskCannotHold) {
    WriteFile(VGDB::GetDBPath(DB_ARCHIVE), "");
    fs::resize_file(VGDB::GetDBPath(DB_ARCHIVE), uintmax_t{8} << 40);
    const std::string problem = Take("one");
    EXPECT_NE(std::string::npos, problem.find("too full")) << problem;
    EXPECT_EQ(std::vector<std::string>{}, Names());
}

TEST_F(SnapshotTest, RefusesADamagedSnapshot) {
    ASSERT_EQ("", Take("one"));
    EXPECT_TRUE(ProblemsOf(Find("one"), {}).empty());
    ChangeEverything();
    const auto before = Image();
    const std::string intact = Path(kSnapshots) + "one";
    struct {
        const char* file;
        const char* content;  // null: removed
        const char* problem;
    } const damages[] = {
        {"/var/packages/Vigilo/target/system.db", "x", "target/system.db is not what it was"},
        {"/var/packages/Vigilo/target/@VGData/variable.conf", nullptr, "variable.conf cannot be read"},
        {"/SHA256SUMS", "x", "SHA256SUMS is not what it was"},
        {"/snapshot.json", "{\"complete\":true", "not complete"},
        {"/snapshot.json", "{\"complete\":true,\"sums\":\"x\",\"absent\":[\"/etc/passwd\"]}", "not complete"},
    };
    for (const auto& [file, content, problem] : damages) {
        const std::string damaged = Path(kSnapshots) + "damaged";
        fs::remove_all(damaged);
        fs::copy(intact, damaged, fs::copy_options::recursive);
        content ? WriteFile(damaged + file, content) : static_cast<void>(fs::remove(damaged + file));
        const std::vector<std::string> problems = ProblemsOf(Find("damaged"), {});
        ASSERT_EQ(1u, problems.size()) << file;
        EXPECT_NE(std::string::npos, problems[0].find(problem)) << problems[0];
        EXPECT_NE("", Restore("damaged")) << file;
        EXPECT_EQ(before, Image()) << file;
    }
    EXPECT_FALSE(fs::exists(Path(kRestoreMark)));
    EXPECT_EQ(2, Run("verify damaged"));
    EXPECT_EQ(1, Run("restore damaged --yes"));
    EXPECT_EQ(1, Run("restore one </dev/null")) << "nobody to ask";
    EXPECT_EQ(before, Image());
}

TEST_F(SnapshotTest, GoesElsewhere) {
    const std::string elsewhere = Path("/usb");
    fs::create_directory(elsewhere);
    const auto before = Image();
    ASSERT_EQ(0, Run("snapshot one --to " + elsewhere));
    ChangeEverything();
    EXPECT_EQ(1, Run("verify one"));
    EXPECT_EQ(0, Run("verify one --to " + elsewhere));
    EXPECT_EQ(0, Run("restore --yes " + elsewhere + "/one"));
    EXPECT_EQ(before, Image());
    EXPECT_EQ(1, Run("forget " + Path("/var/packages/Vigilo/etc"))) << "which is no snapshot";
    EXPECT_EQ(0, Run("forget one --to " + elsewhere));
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(SnapshotTest, KeepsTheLastOnes) {
    for (const char* name : {"one", "two", "three"})
        ASSERT_EQ("", Take(name));
    fs::create_directory(Path(kSnapshots) + "unfinished");
    fs::create_directories(Path(kSnapshots) + "rehearsal-a1/before");
    fs::create_directories(Path(kSnapshots) + "rehearsal-a1/after");
    const std::string newest = Names().front();
    EXPECT_EQ(1, Run("forget"));
    EXPECT_EQ(1, Run("forget --keep 0"));
    EXPECT_EQ(0, Run("forget --keep 1 </dev/null"));
    EXPECT_EQ((std::vector<std::string>{newest, "unfinished (not complete)"}), Names());
    EXPECT_EQ(1u, ListRehearsals(Place()).size());
    EXPECT_EQ(0, Run("forget rehearsal-a1 </dev/null"));
    EXPECT_TRUE(ListRehearsals(Place()).empty());
}

TEST_F(SnapshotTest, ForgetsNothingOfSomebodyElses) {
    const std::string photos = Path("/photos");
    WriteFile(photos + "/snapshot.json", "{\"complete\":true}");
    WriteFile(photos + "/a.jpg", "a");
    EXPECT_EQ(1, Run("forget " + photos + "/ </dev/null"));
    ASSERT_EQ("", Take("one"));
    WriteFile(Path(kSnapshots) + "one/var/packages/b.jpg", "b");
    EXPECT_EQ(1, Run("forget one </dev/null")) << "with somebody's file in it";
    EXPECT_EQ(std::vector<std::string>{"one"}, Names());
    EXPECT_TRUE(fs::exists(photos + "/a.jpg"));
}

TEST_F(SnapshotTest, TellsWhatItIsOf) {
    Snapshot snapshot;
    std::string problem;
    ASSERT_EQ(0, TakeSnapshot(Place(), "one", "before\tthe change", 10s, {}, snapshot, problem)) << problem;
    const Json::Value object = Find("one").ToJson();
    EXPECT_EQ("8.0-3000", object["stamp"].asString());
    EXPECT_EQ("9.2.9-9760", object["version"].asString());
    EXPECT_EQ("before\tthe change", object["note"].asString());
    EXPECT_NE("", object["host"].asString());
    ASSERT_EQ(1u, object["damaged"].size());
    EXPECT_EQ("@vigilo/face.db", object["damaged"][0].asString());
}

TEST_F(SnapshotTest, RefusesToReplaceWhatIsInUse) {
    ASSERT_EQ("", Take("one"));
    ChangeEverything();
    const auto before = Image();
    Child idle([](const auto& ready) {
        static std::ifstream file(VGDB::GetDBPath(DB_SYSTEM));
        ready();
    });
    const std::string problem = Restore("one", 100ms);
    EXPECT_NE(std::string::npos, problem.find("is open in process ")) << problem;
    EXPECT_EQ(before, Image());
    idle.Kill();
    EXPECT_EQ("", Restore("one"));
}

// Whoever may write to the package's folders must not have root write anywhere else, or restore what root has not
// saved.
TEST_F(SnapshotTest, FollowsNothingOfSomebodyElses) {
    ASSERT_EQ("", Take("one"));
    ChangeEverything();
    const std::string outside = Path("/etc/outside");
    WriteFile(outside, "mine");
    fs::remove(Path(kVariableConf));
    fs::create_symlink("/etc/outside", Path(kVariableConf));
    const auto before = Image();
    if (geteuid() == 0) {
        ASSERT_EQ(0, lchown(Path(kVariableConf).c_str(), 1234, 1234));
        const std::string problem = Restore("one");
        EXPECT_NE(std::string::npos, problem.find("a link of somebody else's")) << problem;
        EXPECT_EQ("mine", ReadFile(outside));
        EXPECT_EQ(before, Image());
        ASSERT_EQ(0, lchown(Path(kVariableConf).c_str(), 0, 0));
    }
    fs::permissions(Path(kSnapshots) + "one", fs::perms(0770));
    EXPECT_NE("", Restore("one")) << "one that others may write to";
    fs::permissions(Path(kSnapshots) + "one", fs::perms(0700));
    EXPECT_EQ("", Restore("one"));
    EXPECT_EQ("x=\"1\"\n", ReadFile(outside)) << "a link of our own is followed";

    WriteFile(Path(kRestoreMark), "one\n");
    std::string name;
    EXPECT_EQ(1, FindUnfinishedRestore(name));
    fs::permissions(Path(kSnapshots), fs::perms(0777));
    EXPECT_EQ(0, FindUnfinishedRestore(name));
    EXPECT_NE("", Take("two"));
}

TEST_F(SnapshotTest, RefusesListsThatContradictEachOther) {
    ASSERT_EQ("", Take("one"));
    Snapshot snapshot = Find("one");
    snapshot.absent.push_back(std::string(kVariableConf));
    std::string problem;
    std::map<std::string, std::string> sums;
    EXPECT_EQ(-1, ReadSums(snapshot, sums, problem));
    EXPECT_NE(std::string::npos, problem.find("variable.conf is saved, and is to be absent")) << problem;
    WriteFile(snapshot.folder + '/' + kSumsFile, "");
    snapshot.sumOfSums = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
    EXPECT_EQ(-1, ReadSums(snapshot, sums, problem));
    EXPECT_NE(std::string::npos, problem.find("names no file")) << problem;
}

}  // namespace
