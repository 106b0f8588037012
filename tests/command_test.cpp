// The program as the package's scripts call it.
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/base/paths.h"
#include "tests/support/other_upgrade.h"
#include "tests/support/pattern.h"
#include "tests/support/system_tree.h"
#include "upgrader/lock.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kNewest = "9999";

class Command : public SystemTree {
protected:
    // Every file of the tree but the package log, with its size and modification time.
    static std::string Snapshot() {
        VGDB::CloseAll();
        std::string text;
        const std::string root = Path("");
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            if (!entry.is_regular_file() || entry.path().filename() == "vgupgrader.log")
                continue;
            struct stat status {};
            stat(entry.path().c_str(), &status);
            text += entry.path().string() + ' ' + std::to_string(status.st_size) + ' ' +
                    std::to_string(status.st_mtim.tv_sec) + '.' + std::to_string(status.st_mtim.tv_nsec) +
                    '\n';
        }
        return text;
    }
};

TEST_F(Command, WithoutAnArgumentTellsItsUsageAndTouchesNothing) {
    const std::string out = Path("/out");
    EXPECT_EQ(1, RunUpgrader("> " + out));
    EXPECT_TRUE(ReadFile(out).ends_with("\nUsage:\nvgupgrader [pre-upgrade-version]\n")) << ReadFile(out);
    EXPECT_EQ("", Log());
}

TEST_F(Command, ParsesTheOldBuildAsTheScriptsAlwaysCouldGiveIt) {
    const struct {
        const char* argument;
        const char* build;
    } cases[] = {
        {"6500", "6500"}, {"''", "0"},        {"abc", "0"},        {"-1", "4294967295"},
        {"0x10", "0"},    {"' 12abc'", "12"}, {"4294967296", "0"}, {"99999999999999999999", "4294967295"}};
    for (const auto& [argument, build] : cases) {
        fs::remove(Path("/var/log/vigilo/vgupgrader.log"));
        RunUpgrader(argument);
        EXPECT_TRUE(Log().starts_with(std::string("(main): pre-upgrade version:") + build + "\n"))
            << argument;
    }
}

TEST_F(Command, UpgradesANewSystemWithoutAComplaintAndThenLeavesItAlone) {
    CreateNewSystem();
    WriteSettings("a=\"b\"\n");
    EXPECT_EQ(0, RunUpgrader(kNewest));
    EXPECT_TRUE(
        Pattern("^\\(main\\): pre-upgrade version:9999\n"
                "\\(main\\): Upgrade from build 9999: 5 migrations ran, 0 failed, [0-9]\\.[0-9]{2} s\\.\n$")
            .IsIn(Log()))
        << Log();
    EXPECT_TRUE(Settings().starts_with("a=\"b\"\nvg_upgrader_version=\"9.")) << Settings();

    const std::string before = Snapshot();
    EXPECT_EQ(0, RunUpgrader(kNewest));
    EXPECT_EQ(before, Snapshot());
}

TEST_F(Command, MakesTheFolderOfItsLogAndDoesWithoutALog) {
    fs::remove_all(Path("/var/log"));
    RunUpgrader(kNewest);
    EXPECT_EQ(1, CountInLog("(main): pre-upgrade version:9999\n"));

    fs::remove_all(Path("/var/log"));
    WriteFile(Path("/var/log"), "in the way");
    WriteSettings("");
    RunUpgrader(kNewest);
    EXPECT_NE("", Settings()) << "a log that cannot be opened stops nothing";
}

TEST_F(Command, StampsTheInstalledPackagesVersion) {
    WriteFile(Path("/var/packages/Vigilo/etc/package.conf"), "version=\"9.3.1-9801\"\n");
    RunUpgrader(kNewest);
    EXPECT_EQ("vg_upgrader_version=\"9.3.1-9801\"\n", Settings());
}

// A database or schema file that cannot be used costs itself only, and never the exit status.
TEST_F(Command, LeavesWhatItCannotRepairAndRepairsTheRest) {
    CreateNewSystem();
    const std::string missing = VGDB::GetDBPath(DB_FACE);
    const std::string corrupt = VGDB::GetDBPath(DB_SNAPSHOT);
    const std::string folder = VGDB::GetDBPath(DB_EDGE);
    const std::string noSchema = VGDB::GetDBPath(DB_BOOKMARK);
    const std::string badSchema = VGDB::GetDBPath(DB_ARCHIVE);
    fs::remove(missing);
    const std::string garbage(8192, 'x');
    WriteFile(corrupt, garbage);
    fs::remove(folder);
    fs::create_directory(folder);
    fs::remove(VGDB::GetSqlFile(noSchema));
    WriteFile(VGDB::GetSqlFile(badSchema), "CREATE TABLE t(;");
    Sql(DB_IVARECORDING, "DROP TABLE ivarecording");

    EXPECT_EQ(0, RunUpgrader(kNewest));

    for (const std::string& path : {missing, corrupt, folder, noSchema, badSchema})
        EXPECT_EQ(1, CountInLog("(main): Failed to repair missing schema of " + path + "\n")) << path;
    EXPECT_EQ(5, CountInLog("Failed to repair missing schema of "));
    EXPECT_FALSE(fs::exists(missing)) << "a database that is gone is not made anew";
    EXPECT_EQ(garbage, ReadFile(corrupt));
    EXPECT_EQ("1\n", Rows(DB_IVARECORDING, "SELECT count(*) FROM sqlite_schema WHERE name = 'ivarecording'"));
}

// Nor does it cost an upgrade when it is the main database's.
TEST_F(Command, EndsAsItsMigrationsDoWhereTheMainDatabaseCannotBeRepaired) {
    CreateNewSystem();
    WriteFile(VGDB::GetSqlFile(VGDB::GetDBPath(DB_SYSTEM)), "CREATE TABLE t(;");
    EXPECT_EQ(0, RunUpgrader(kNewest));
    EXPECT_EQ(1, CountInLog(" 0 failed, "));
    EXPECT_EQ(1, CountInLog("; not repaired: system.db.\n"));
    EXPECT_EQ(0, CountInLog("vgupgrader_record")) << "it never lacks the program's own table";
    EXPECT_NE("", Settings()) << "it is stamped";
}

TEST_F(Command, TellsThatItBeginsBelowTheStamp) {
    CreateNewSystem();
    RunUpgrader(kNewest);
    EXPECT_EQ(0, CountInLog("The settings are stamped "));
    RunUpgrader("6500");
    EXPECT_EQ(1, CountInLog(", this upgrade begins at build 6500.\n"));
}

dev_t FileSystemOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
}

// A sparse database that no disk has room for beside its journal.
TEST_F(Command, TellsWhenTheDiskMayBeTooFull) {
    CreateNewSystem();
    const std::string path = VGDB::GetDBPath(DB_RECORDING);
    const uint64_t size = uint64_t{1} << 43;
    if (truncate(path.c_str(), static_cast<off_t>(size)) != 0)
        GTEST_SKIP() << "no sparse files of that size here";
    const bool sortsElsewhere =
        access("/dev/shm", W_OK | X_OK) == 0 && FileSystemOf("/dev/shm") != FileSystemOf(path);
    setenv("SQLITE_TMPDIR", "/dev/shm", 1);
    EXPECT_EQ(0, RunUpgrader("9748"));
    unsetenv("SQLITE_TMPDIR");
    EXPECT_EQ(1,
              CountInLog("(main): The file system of " + VGDB::GetDBPath(DB_SYSTEM) + " may be too full: "));
    EXPECT_EQ(sortsElsewhere ? 1 : 0, CountInLog("(main): The file system of /dev/shm may be too full: "));
    EXPECT_TRUE(fs::remove(Path(kPackageLog)));
    EXPECT_EQ(0, RunUpgrader("9749"));
    EXPECT_EQ(0, CountInLog("too full"));
}

TEST_F(Command, WaitsForAnotherUpgradeOfTheSameTree) {
    CreateNewSystem();
    OtherUpgrade other;
    const std::string pid = std::to_string(other.Pid());
    ASSERT_FALSE(UpgradeLock().Acquire(std::chrono::milliseconds(150)));
    EXPECT_EQ("(TestBody): Waiting for process " + pid + ", which is upgrading this package.\n" +
                  "(TestBody): Process " + pid +
                  " is still upgrading this package, giving up; nothing was changed.\n",
              Log());

    std::thread end([&other] {
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        other.Kill();
    });
    EXPECT_EQ(0, RunUpgrader(kNewest));
    end.join();
    EXPECT_EQ(1, CountInLog("(main): Waiting for process " + pid));
    EXPECT_NE("", Settings());
}

}  // namespace
