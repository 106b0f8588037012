#include "upgrader/upgrade_record.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/host/paths.h"
#include "platform/settings/file_rewrite.h"
#include "platform/settings/settings.h"
#include "platform/userlog/vglog.h"
#include "tests/support/system_tree.h"
#include "upgrader/driver.h"
#include "upgrader/missing_schema.h"

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kOldBuild = 10;

// --- migrations of a small registry
// ---------------------------------------------------------------------------

int Insert(const char* value) {
    return VGDB::Execute(DB_SYSTEM, std::string("INSERT INTO t(x) VALUES('") + value + "');");
}

// Not to be done twice, and everything that a migration can do.
int First() {
    VGLog(1, "SYSTEM", 7, {"first"}, 0, 0);
    return Insert("first") || SetSettingConfValue("first", "1") ? -1 : 0;
}

int FailsHalfway() {
    if (Insert("kept") || SetSettingConfValue("kept", "1"))
        return -1;
    VGLog(1, "SYSTEM", 8, {"kept"}, 0, 0);
    return VGDB::Execute(DB_SYSTEM, "INSERT INTO t(x) VALUES('gone'); INSERT INTO nowhere VALUES(1);");
}

bool g_dies = false;

int Dies() {
    if (Insert("second") || SetSettingConfValue("second", "1") || !IsSettingConfKeyExist("second"))
        return -1;
    VGLog(1, "SYSTEM", 9, {"second"}, 0, 0);
    if (g_dies)
        raise(SIGKILL);
    return SetSettingConfValue("third", "1");
}

int AsksForMissing() { return WasSchemaMissing(DB_SYSTEM, "t", "y") ? Insert("column is new") : 0; }

class Units : public SystemTree {
protected:
    Units() {
        CreateFromSchema(DB_LOG);
        Sql(DB_SYSTEM, "CREATE TABLE t(x TEXT)");
        g_missingSchema.assign(DB_INSTANCE_COUNT, {});
    }
    ~Units() override { g_missingSchema.assign(DB_INSTANCE_COUNT, {}); }

    static int Upgrade(const std::vector<UpgradeEntry>& table, uint32_t oldBuild = kOldBuild) {
        UpgradeRecord record(oldBuild);
        record.Recover();
        const int result = DoAction(table.data(), oldBuild, record);
        record.Close();
        VGDB::CloseAll();
        return result;
    }

    // The same in a process that dies in migration Dies.
    static void UpgradeAndDie(const std::vector<UpgradeEntry>& table) {
        VGDB::CloseAll();
        const pid_t pid = fork();
        if (pid == 0) {
            g_dies = true;
            _exit(Upgrade(table));
        }
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "it was to die";
    }

    static std::string X() { return Rows(DB_SYSTEM, "SELECT x FROM t ORDER BY rowid"); }
    static std::string LogEntries() { return Rows(DB_LOG, "SELECT item_id, params FROM log ORDER BY id"); }
    static std::string Folder(std::string_view path) {
        std::string names;
        for (const auto& entry : fs::directory_iterator(Path(path)))
            names += entry.path().filename().string() + '\n';
        return names;
    }
};

const std::vector<UpgradeEntry> kTable = {
    {20, 0, First}, {20, 0, FailsHalfway}, {20, 0, Dies}, {0, 0, nullptr}};

TEST_F(Units, KeepWhatAFailedMigrationHadDone) {
    EXPECT_EQ(-1, Upgrade(kTable));
    EXPECT_EQ("first\nkept\nsecond\n", X());
    EXPECT_EQ("first=\"1\"\nkept=\"1\"\nsecond=\"1\"\nthird=\"1\"\n", Settings());
    EXPECT_EQ("7|[\"first\"]\n8|[\"kept\"]\n9|[\"second\"]\n", LogEntries());
    EXPECT_EQ("t\n", Rows(DB_SYSTEM, "SELECT name FROM sqlite_schema")) << "the record goes with the upgrade";
    EXPECT_EQ(1, CountInLog("[1] update failed, ver [20]"));
}

TEST_F(Units, TakeEffectAsAWholeWhenTheProcessDies) {
    UpgradeAndDie(kTable);
    EXPECT_EQ("first\nkept\n", X());
    EXPECT_EQ("first=\"1\"\nkept=\"1\"\n", Settings());
    EXPECT_EQ("7|[\"first\"]\n8|[\"kept\"]\n", LogEntries());

    EXPECT_EQ(-1, Upgrade(kTable)) << "the failure before the interruption counts";
    EXPECT_EQ(1, CountInLog("(Resume): Resuming the interrupted upgrade at row [2].\n"));
    EXPECT_EQ("first\nkept\nsecond\n", X());
    EXPECT_EQ("first=\"1\"\nkept=\"1\"\nsecond=\"1\"\nthird=\"1\"\n", Settings());
    EXPECT_EQ("7|[\"first\"]\n8|[\"kept\"]\n9|[\"second\"]\n", LogEntries());
    EXPECT_EQ("settings.conf\n", Folder("/var/packages/Vigilo/etc"));
    EXPECT_EQ("t\n", Rows(DB_SYSTEM, "SELECT name FROM sqlite_schema"));
}

TEST_F(Units, StartAnewForAnotherOldBuild) {
    UpgradeAndDie(kTable);
    EXPECT_EQ(-1, Upgrade(kTable, kOldBuild + 1));
    EXPECT_EQ(1, CountInLog("Leaving the interrupted upgrade from build 10 aside.\n"));
    EXPECT_EQ("first\nkept\nfirst\nkept\nsecond\n", X());
    EXPECT_EQ("settings.conf\n", Folder("/var/packages/Vigilo/etc"));
}

// The process died between the commit and the renaming of the settings file.
TEST_F(Units, AreFinishedWhenTheirFilesStillWait) {
    WriteSettings("old=\"1\"\n");
    const std::string waiting = Path(kSettingsConf) + ".vgunit-";
    WriteFile(waiting + "1", "new=\"1\"\n");
    WriteFile(waiting + "2", "never took effect\n");
    Sql(DB_SYSTEM,
        "CREATE TABLE vgupgrader_record(name TEXT PRIMARY KEY, value TEXT);"
        "INSERT INTO vgupgrader_record VALUES('old_build', '10'), ('registry', '286'), ('next_row', '2'),"
        " ('result', '0'), ('unit', '1'), ('files', '/var/packages/Vigilo/etc/settings.conf');");
    EXPECT_EQ(0, Upgrade(kTable));
    EXPECT_EQ("new=\"1\"\nsecond=\"1\"\nthird=\"1\"\n", Settings());
    EXPECT_EQ("settings.conf\n", Folder("/var/packages/Vigilo/etc"));
    EXPECT_EQ("second\n", X());
}

TEST_F(Units, RememberWhatTheRepairFoundMissing) {
    VGDB::CloseAll();
    InstallSchemaFiles();
    WriteFile(VGDB::GetSqlFile(VGDB::GetDBPath(DB_SYSTEM)), "CREATE TABLE t(x TEXT, y TEXT DEFAULT '');");
    const std::vector<UpgradeEntry> table = {{20, 0, Dies}, {20, 0, AsksForMissing}, {0, 0, nullptr}};
    const pid_t pid = fork();
    if (pid == 0) {
        g_dies = true;
        UpgradeRecord record(kOldBuild);
        record.Recover();
        RepairSchema(record);
        _exit(DoAction(table.data(), kOldBuild, record));
    }
    waitpid(pid, nullptr, 0);
    EXPECT_EQ("x\ny\n", Rows(DB_SYSTEM, "SELECT name FROM pragma_table_info('t')")) << "repaired already";
    EXPECT_EQ(0, Upgrade(table));
    EXPECT_EQ("second\ncolumn is new\n", X());
}

int NeedsItsKey() { return Insert("needs its key") || SetSettingConfValue("key", "1") ? -1 : 0; }

int DoesWithoutItsKey() {
    (void)SetSettingConfValue("key", "1");
    return Insert("does without");
}

// Rows without the key that tells of them would be converted once more.
TEST_F(Units, TakeNoEffectWhenTheMigrationFailsForItsKey) {
    fs::create_directory(Path(kSettingsConf) + ".vgtmp");  // in the way of a write
    EXPECT_EQ(-1, Upgrade({{20, 0, NeedsItsKey}, {20, 0, DoesWithoutItsKey}, {0, 0, nullptr}}));
    EXPECT_EQ("does without\n", X());
    EXPECT_EQ(1, CountInLog("(DoAction): [0] update failed, ver [20]"));
    EXPECT_EQ(1, CountInLog("update failed"));
}

// Settings are upgraded also when the main database cannot take a record of it.
TEST_F(Units, DoWithoutAMainDatabase) {
    VGDB::CloseAll();
    const std::string garbage(4096, 'x');
    WriteFile(VGDB::GetDBPath(DB_SYSTEM), garbage);
    const std::vector<UpgradeEntry> table = {
        {20, 0, [] { return SetSettingConfValue("a", "1"); }}, {20, 0, First}, {0, 0, nullptr}};
    EXPECT_EQ(-1, Upgrade(table));
    EXPECT_EQ("a=\"1\"\n", Settings());
    EXPECT_EQ("7|[\"first\"]\n", LogEntries());
    EXPECT_EQ(garbage, ReadFile(VGDB::GetDBPath(DB_SYSTEM)));
}

TEST_F(Units, DoWithoutALogDatabase) {
    fs::remove(VGDB::GetDBPath(DB_LOG));
    EXPECT_EQ(0, Upgrade({{20, 0, First}, {0, 0, nullptr}}));
    EXPECT_EQ("first\n", X());
    EXPECT_EQ("first=\"1\"\n", Settings());
    EXPECT_FALSE(fs::exists(VGDB::GetDBPath(DB_LOG)));
}

// --- prepared files
// ------------------------------------------------------------------------------------------

TEST_F(Units, PrepareFilesThatReadersOfTheProcessSee) {
    WriteSettings("a=\"1\"\n");
    const std::string path(kSettingsConf);
    FileUnit::Begin("5");
    EXPECT_EQ(0, SetSettingConfValue("b", "2"));
    EXPECT_TRUE(IsSettingConfKeyExist("b"));
    EXPECT_EQ("a=\"1\"\n", Settings()) << "on disk the old file stands";
    EXPECT_EQ((std::vector<std::string>{path}), FileUnit::Paths());

    // A later write that fails costs only itself.
    fs::create_directory(Path(path) + ".vgtmp");
    EXPECT_EQ(-1, SetSettingConfValue("c", "3"));
    EXPECT_FALSE(IsSettingConfKeyExist("c"));
    fs::remove(Path(path) + ".vgtmp");
    EXPECT_EQ(0, FileUnit::PutInPlace());
    EXPECT_EQ("a=\"1\"\nb=\"2\"\n", Settings());

    FileUnit::Begin("6");
    EXPECT_EQ(0, SetSettingConfValue("d", "4"));
    FileUnit::Discard();
    EXPECT_FALSE(IsSettingConfKeyExist("d"));
    EXPECT_EQ("settings.conf\n", Folder("/var/packages/Vigilo/etc"));
}

}  // namespace
