// Rows on databases as such: indexes, and owners of files.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace fs = std::filesystem;

namespace {

class DatabaseFiles : public SystemTree {
protected:
    static std::string Indexes(DB_INSTANCE db) {
        return Rows(db,
                    "SELECT name, replace(sql, ' ', '') FROM sqlite_master WHERE type = 'index' AND sql <> ''"
                    " ORDER BY name");
    }

    static std::string Owner(const std::string& path) {
        struct stat status {};
        return lstat(path.c_str(), &status) == 0
                   ? std::to_string(status.st_uid) + ":" + std::to_string(status.st_gid)
                   : "none";
    }

    static void SetPackageUser(uid_t user, gid_t group) {
        ASSERT_EQ(0, chown(Path("/var/packages/Vigilo/target").c_str(), user, group));
    }
};

TEST_F(DatabaseFiles, HaveTheIndexesThatTheSchemaFilesDeclare) {
    const struct {
        int (*row)();
        DB_INSTANCE db;
        const char* name;
        int count;
    } cases[] = {
        {migrations::CreateTimestampIndex, DB_AXISACSEVTLOG, "axisacsevtlog", 1},
        {migrations::CreateTimestampIndex, DB_LOG, "log", 1},
        {migrations::CreateRecordingIndexes, DB_RECORDING, "recording", 8},
    };
    for (const auto& [row, db, name, count] : cases) {
        EXPECT_EQ(0, row()) << name << ": no database";
        CreateFromSchema(db);
        const std::string declared = Indexes(db);
        EXPECT_EQ(std::to_string(count) + "\n",
                  Rows(db, "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql <> ''"));
        for (int i = 0; i < count; ++i) {
            const std::string one =
                Rows(db, "SELECT name FROM sqlite_master WHERE type = 'index' AND sql <> '' LIMIT 1");
            Sql(db, "DROP INDEX " + one);
        }
        EXPECT_EQ("", Indexes(db));
        EXPECT_EQ(0, row());
        EXPECT_EQ(declared, Indexes(db)) << name;
        const std::string after = ReadFile(VGDB::GetDBPath(db));
        EXPECT_EQ(0, row());
        EXPECT_TRUE(after == ReadFile(VGDB::GetDBPath(db))) << name;
    }
    EXPECT_EQ("", Log());
    Sql(DB_LOG, "DROP TABLE log; CREATE TABLE log(id INTEGER PRIMARY KEY);");
    EXPECT_EQ(0, migrations::CreateTimestampIndex()) << "no such column";

    WriteFile(VGDB::GetDBPath(DB_AXISACSEVTLOG), std::string(4096, 'x'));
    CreateFromSchema(DB_POS);
    Sql(DB_LOG, "DROP TABLE log; CREATE TABLE log(id INTEGER PRIMARY KEY, log_time INTEGER);");
    EXPECT_EQ(-1, migrations::CreateTimestampIndex());
    EXPECT_NE("", Indexes(DB_LOG)) << "one that fails does not keep the other";
    EXPECT_EQ(1, CountInLog("(CreateTimestampIndex): Failed to look up table axisacsevtlog"));
}

TEST_F(DatabaseFiles, BecomeThePackageUsersWhereRootOwnsThem) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root";
    const std::string target = Path("/var/packages/Vigilo/target/");
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        CreateFromSchema(static_cast<DB_INSTANCE>(db));
    for (const char* name : {"@vigilo/@VGDBBackup/2019/system.db", "@vigilo/@VGDBBackup/others",
                             "@vigilo/other", "pos.db-notes"})
        WriteFile(target + name, name);
    ASSERT_EQ(0, chown((target + "@vigilo/@VGDBBackup/others").c_str(), 9, 9));
    ASSERT_EQ(0, chown((target + "@vigilo/face.db").c_str(), 9, 9));
    fs::rename(target + "@vigilo/edge.db", target + "real.db");
    fs::create_symlink("../real.db", target + "@vigilo/edge.db");
    const auto all = [] {
        return migrations::UpdateOwnerAndPrivilege() + migrations::ChangeDBFileOwnerMod() +
               migrations::ChangeDBBackupOwner();
    };
    EXPECT_EQ(0, all());
    EXPECT_EQ("0:0", Owner(target + "system.db")) << "the package has no user";

    SetPackageUser(123, 456);
    EXPECT_EQ(0, migrations::UpdateOwnerAndPrivilege());
    EXPECT_EQ("123:456", Owner(target + "system.db"));
    EXPECT_EQ("123:456", Owner(target + "axisacsctrl.db"));
    EXPECT_EQ("0:0", Owner(target + "pos.db"));
    EXPECT_EQ("0:0", Owner(target + "@vigilo/@VGDBBackup"));

    EXPECT_EQ(0, all());
    for (const char* name :
         {"pos.db", "axisacsctrl_temp.db", "@vigilo/recording.db", "@vigilo/bookmark.db",
          "@vigilo/@VGDBBackup", "@vigilo/@VGDBBackup/2019", "@vigilo/@VGDBBackup/2019/system.db"})
        EXPECT_EQ("123:456", Owner(target + name)) << name;
    for (const char* name : {"real.db", "@vigilo/edge.db", "@vigilo", "@vigilo/other", "pos.db-notes"})
        EXPECT_EQ("0:0", Owner(target + name)) << name;
    for (const char* name : {"@vigilo/face.db", "@vigilo/@VGDBBackup/others"})
        EXPECT_EQ("9:9", Owner(target + name)) << name;
    EXPECT_EQ("", Log());
}

// POSIX drops all locks of a process on a file with the first descriptor of it that is closed.
TEST_F(DatabaseFiles, StayLockedWhileTheirOwnerChanges) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root";
    Sql(DB_SYSTEM, "CREATE TABLE t(a);");
    SetPackageUser(123, 456);
    VGDB::Hold(VGDB::Holding::Main);
    ASSERT_EQ(0, VGDB::Execute(DB_SYSTEM, "INSERT INTO t VALUES(1);"));
    const std::string other =
        "sqlite3 '" + VGDB::GetDBPath(DB_SYSTEM) + "' 'INSERT INTO t VALUES(2)' 2>/dev/null";
    ASSERT_NE(0, std::system(other.c_str()));
    EXPECT_EQ(0, migrations::UpdateOwnerAndPrivilege());
    EXPECT_EQ("123:456", Owner(VGDB::GetDBPath(DB_SYSTEM)));
    EXPECT_NE(0, std::system(other.c_str()));
    EXPECT_EQ(0, VGDB::CommitMain());
    EXPECT_EQ(0, std::system(other.c_str()));
}

}  // namespace
