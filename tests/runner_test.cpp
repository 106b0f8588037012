// A small list of migrations, run with faults.
#include "upgrader/runner.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/base/paths.h"
#include "platform/settings/settings.h"
#include "tests/support/system_tree.h"
#include "upgrader/needs.h"
#include "upgrader/outbox.h"

namespace fs = std::filesystem;

namespace {

// --- migrations ---------------------------------------------------------------------------------------------

int Insert(const char* value) {
    return VGDB::Execute(DB_SYSTEM, std::string("INSERT INTO t(x) VALUES('") + value + "');");
}

// Not to be done twice, and everything that a migration can do.
int First() {
    if (FindSetting("first") != 0)
        return 0;
    VGLog(1, "SYSTEM", 7, {"fir\"st", "caf\xc3\xa9"}, 2, -5);
    return Insert("first") || SetSettingConfValue("first", "1") ? -1 : 0;
}

int FailsHalfway() {
    if (Insert("kept") || SetSettingConfValue("kept", "1"))
        return -1;
    VGLog(1, "SYSTEM", 8, {"kept"}, 0, 0);
    return VGDB::Execute(DB_SYSTEM, "INSERT INTO t(x) VALUES('gone'); INSERT INTO nowhere VALUES(1);");
}

int Second() { return Insert("second") || FindSetting("first") != 1 ? -1 : 0; }

bool g_dies = false;

int Dies() {
    if (g_dies)
        raise(SIGKILL);
    return Insert("after");
}

int Positive() { return 3; }
int Throws() { throw std::runtime_error("no memory"); }
int Nothing() { return 0; }

class RunnerTest : public SystemTree {
protected:
    RunnerTest() {
        CreateFromSchema(DB_LOG);
        Sql(DB_SYSTEM, "CREATE TABLE t(x TEXT)");
    }

    // An upgrade as main does it, of migrations that are all due.
    static int Upgrade(const std::vector<int (*)()>& functions, uint32_t oldBuild = 10) {
        VGDB::StartAnew();
        Record::Facts facts;
        std::string why;
        const bool hasRecord = Record::Open(facts, why) == VGDB::DBState::Usable;
        Plan plan;
        plan.oldBuild = oldBuild;
        for (size_t i = 0; i < functions.size(); ++i) {
            const Migration one{
                .number = static_cast<int>(i), .name = kNames[i], .threshold = 20, .function = functions[i]};
            if (std::find(facts.done.begin(), facts.done.end(), Record::NoteOf(one)) == facts.done.end())
                plan.migrations.push_back(one);
        }
        if (hasRecord) {
            EXPECT_EQ(0, Record::Begin(facts, oldBuild, plan.missing));
            Outbox::DeliverOwed(facts);
            EXPECT_EQ(0, Record::Read(facts));
        }
        Runner runner(facts, hasRecord);
        const int result = runner.Run(plan, {});
        g_undone = runner.Undone();
        g_runs = runner.Runs();
        return result;
    }

    // The same in a process that dies in migration Dies.
    static void UpgradeAndDie(const std::vector<int (*)()>& functions) {
        VGDB::CloseAll();
        const pid_t pid = fork();
        if (pid == 0) {
            g_dies = true;
            _exit(Upgrade(functions));
        }
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "it was to die";
    }

    static std::string X() { return Rows(DB_SYSTEM, "SELECT x FROM t ORDER BY rowid"); }
    static std::string LogEntries() {
        return Rows(DB_LOG, "SELECT id, log_type, user, item_id, params, ds_id, extra FROM log ORDER BY id");
    }
    static std::string Tables(DB_INSTANCE db) {
        return Rows(db, "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite%'");
    }
    static std::string Record() {
        return Rows(DB_SYSTEM, "SELECT fact, name, value FROM vgupgrader_record ORDER BY fact, name");
    }
    static std::string Folder(std::string_view path) {
        std::string names;
        for (const auto& entry : fs::directory_iterator(Path(path)))
            names += entry.path().filename().string() + '\n';
        return names;
    }

    static constexpr const char* kNames[] = {"A", "B", "C", "D", "E"};
    static inline std::string g_undone;
    static inline std::vector<MigrationRun> g_runs;
};

constexpr const char* kFirstEntry = "1|1|SYSTEM|7|[\"fir\\\"st\",\"caf\xc3\xa9\"]|2|-5\n";
constexpr const char* kKeptEntry = "2|1|SYSTEM|8|[\"kept\"]|0|0\n";

TEST_F(RunnerTest, KeepsWhatAFailedMigrationHadDoneAndNotesItsName) {
    EXPECT_EQ(-1, Upgrade({First, FailsHalfway, Second}));
    EXPECT_EQ("first\nkept\nsecond\n", X());
    EXPECT_EQ("first=\"1\"\nkept=\"1\"\n", Settings());
    EXPECT_EQ(std::string(kFirstEntry) + kKeptEntry, LogEntries());
    EXPECT_EQ("failed|B|20\n", Record());
    EXPECT_EQ(1, CountInLog("(DoAction): [1] update failed, ver [20]"));

    EXPECT_EQ(0, Upgrade({Nothing, Nothing}));
    EXPECT_EQ("t\n", Tables(DB_SYSTEM)) << "one that succeeds takes its failure out";
}

TEST_F(RunnerTest, TakesEffectAsAWholeWhenTheProcessDies) {
    UpgradeAndDie({First, FailsHalfway, Dies});
    EXPECT_EQ("", X());
    EXPECT_EQ("", Settings());
    EXPECT_EQ("", LogEntries());
    EXPECT_EQ("old_build||10\n", Record());

    EXPECT_EQ(-1, Upgrade({First, FailsHalfway, Dies}));
    EXPECT_EQ("first\nkept\nafter\n", X());
    EXPECT_EQ("first=\"1\"\nkept=\"1\"\n", Settings());
    EXPECT_EQ(std::string(kFirstEntry) + kKeptEntry, LogEntries());
    EXPECT_EQ("settings.conf\n", Folder("/var/packages/Vigilo/etc")) << "nothing is left beside it";
}

TEST_F(RunnerTest, TakesWhateverAMigrationGives) {
    EXPECT_EQ(-1, Upgrade({Positive, Throws, Nothing}));
    EXPECT_EQ(1, CountInLog("(Call): Migration ended by an exception: no memory\n"));
    EXPECT_EQ(1, CountInLog("(DoAction): [1] update failed, ver [20]"));
    EXPECT_EQ(1, CountInLog("update failed"));
    EXPECT_EQ("Migration ended by an exception: no memory", g_runs[1].reason);
}

// A key that cannot be written is owed: the migration sees it, and so does every later one.
TEST_F(RunnerTest, OwesAKeyThatCannotBeWritten) {
    fs::create_directory(Path(kSettingsConf) + ".vgtmp");  // in the way of a write
    EXPECT_EQ(-1, Upgrade({First, Second}));
    EXPECT_EQ("first\nsecond\n", X()) << "the rows stay";
    EXPECT_EQ("", Settings());
    EXPECT_EQ("failed|A|20\nkey|first|1\n", Record());

    EXPECT_EQ(0, Upgrade({First})) << "its flag counts as there";
    EXPECT_EQ("first\nsecond\n", X()) << "nothing is converted twice";
    fs::remove(Path(kSettingsConf) + ".vgtmp");
    EXPECT_EQ(0, Upgrade({Nothing})) << "whatever the next upgrade is about";
    EXPECT_EQ("first=\"1\"\n", Settings());
    EXPECT_EQ("t\n", Tables(DB_SYSTEM));
}

// Somebody reads or holds the log: neither rows nor result suffer, and no entry is written twice.
TEST_F(RunnerTest, OwesLogEntriesWhileTheLogIsReadOnlyOrIncomplete) {
    Sql(DB_LOG, "ALTER TABLE log RENAME COLUMN extra TO other;");
    EXPECT_EQ(0, Upgrade({First}));
    EXPECT_EQ("first\n", X());
    Sql(DB_LOG, "ALTER TABLE log RENAME COLUMN other TO extra;");
    EXPECT_EQ("", LogEntries());
    EXPECT_EQ(0, Upgrade({Nothing}));
    EXPECT_EQ(kFirstEntry, LogEntries());

    // The process died between the commit of the entries and the note of it: they are there, or somebody else's
    // entry has come to their place.
    const std::string owed =
        "CREATE TABLE vgupgrader_record(id INTEGER PRIMARY KEY, fact TEXT, subject TEXT, name TEXT, value TEXT);"
        "INSERT INTO vgupgrader_record VALUES(1, 'place', '', '', '2'), (4, 'entry', '', '', 'no entry'),"
        " (5, 'entry', 'SYSTEM', '1 8 0 1 0', '[]'), (6, 'entry', 'SYSTEM', '1 9 0 1 0', '[]');";
    Sql(DB_SYSTEM, owed);
    Sql(DB_LOG,
        "INSERT INTO log(log_type, user, item_id, params, ds_id, log_time, extra)"
        " VALUES(1, 'SYSTEM', 8, '[]', 0, 1, 0), (1, 'SYSTEM', 9, '[]', 0, 1, 0);");
    const std::string delivered = std::string(kFirstEntry) + "2|1|SYSTEM|8|[]|0|0\n3|1|SYSTEM|9|[]|0|0\n";
    EXPECT_EQ(0, Upgrade({Nothing}));
    EXPECT_EQ(delivered, LogEntries());
    EXPECT_EQ("t\n", Tables(DB_SYSTEM));

    Sql(DB_SYSTEM, owed);
    Sql(DB_LOG, "DELETE FROM log WHERE id > 2; UPDATE log SET user = 'admin' WHERE id = 2;");
    EXPECT_EQ(0, Upgrade({Nothing}));
    EXPECT_EQ(std::string(kFirstEntry) + "2|1|admin|8|[]|0|0\n3|1|SYSTEM|8|[]|0|0\n4|1|SYSTEM|9|[]|0|0\n",
              LogEntries());
}

TEST_F(RunnerTest, LosesLogEntriesOnlyWhereThereIsNoLog) {
    fs::remove(VGDB::GetDBPath(DB_LOG));
    EXPECT_EQ(0, Upgrade({First}));
    EXPECT_EQ("first\n", X());
    EXPECT_EQ("first=\"1\"\n", Settings());
    EXPECT_EQ(1, CountInLog("1 user-visible log entries are lost.\n"));
    EXPECT_FALSE(fs::exists(VGDB::GetDBPath(DB_LOG)));
    EXPECT_EQ("t\n", Tables(DB_SYSTEM));
}

// Settings are upgraded also when the main database cannot take a record of it.
TEST_F(RunnerTest, DoesWithoutAMainDatabase) {
    VGDB::CloseAll();
    const std::string garbage(4096, 'x');
    WriteFile(VGDB::GetDBPath(DB_SYSTEM), garbage);
    EXPECT_EQ(-1, Upgrade({[] { return SetSettingConfValue("a", "1"); }, First}));
    EXPECT_EQ("a=\"1\"\n", Settings());
    EXPECT_EQ(kFirstEntry, LogEntries());
    EXPECT_EQ(garbage, ReadFile(VGDB::GetDBPath(DB_SYSTEM)));
}

// The registry has grown meanwhile, or the argument is another one.
TEST_F(RunnerTest, IsFinishedByWhateverComesNext) {
    UpgradeAndDie({First, Dies});
    Record::Facts facts;
    ASSERT_EQ(0, Record::Read(facts));
    const auto count = [](uint32_t build, const Record::Facts& of) {
        return PlanMigrations(build, of).migrations.size();
    };
    EXPECT_EQ(5u, count(9760, {}));
    EXPECT_EQ(10u, PlanMigrations(9760, facts).oldBuild);
    EXPECT_EQ(count(10, {}), count(9760, facts));
    EXPECT_EQ(3u, PlanMigrations(3, facts).oldBuild);

    // It has taken effect, two failed, and something is owed still.
    for (size_t number = 0; number < kMigrationCount; ++number)
        facts.done.push_back(Record::NoteOf(MigrationAt(number)));
    EXPECT_EQ(0u, count(9760, facts));
    facts.failed = {{"UpdatePrivAdvOper", 0}, {"PatchAxisP3384", 2829}};
    EXPECT_EQ(6u, count(9760, facts)) << "what failed, and the checks that run after every change";
    EXPECT_EQ(6u, PlanRetry(facts).migrations.size());
    EXPECT_STREQ("PatchAxisP3384", PlanRetry(facts).migrations[0].name);
    EXPECT_EQ(count(3, {}), count(3, facts)) << "an older build has more to do";
}

int g_calls = 0;

// SQLite rolls back what is held on its own, as on a full disk.
TEST_F(RunnerTest, RunsOnceMoreWhenWhatWasHeldIsLost) {
    Sql(DB_SYSTEM,
        "CREATE TRIGGER full BEFORE INSERT ON t WHEN NEW.x = 'lost' BEGIN SELECT RAISE(ROLLBACK, 'disk full'); END");
    g_calls = 0;
    const auto losesOnce = [] { return Insert(++g_calls == 1 ? "lost" : "again"); };
    const auto writesLog = [] {
        return VGDB::Execute(DB_LOG, "DELETE FROM log; CREATE TABLE IF NOT EXISTS u(x);");
    };
    EXPECT_EQ(0, Upgrade({writesLog, First, losesOnce, Second}));
    EXPECT_EQ("first\nagain\nsecond\n", X());
    EXPECT_EQ(kFirstEntry, LogEntries());
    EXPECT_EQ(4u, g_runs.size()) << "each counts once";
    EXPECT_EQ(1, CountInLog("The upgrade is undone, and run once more: "));

    const auto loses = [] { return Insert("lost"); };
    EXPECT_EQ(-1, Upgrade({Positive, [] { return Insert("third"); }, loses}));
    EXPECT_EQ("first\nagain\nsecond\n", X());
    EXPECT_EQ(VGDB::GetDBPath(DB_SYSTEM) + ": disk full", g_undone);
    EXPECT_EQ("old_build||10\n", Record()) << "interrupted";
}

// Whoever repairs it finds everything as if nothing had failed.
TEST_F(RunnerTest, ThoseThatNeedAFailedMigrationFailToo) {
    const auto needs = [] { return Needs::AreMet({MigrationAt(1).function}) ? Insert("needs") : -1; };
    Sql(DB_SYSTEM,
        "CREATE TABLE vgupgrader_record(id INTEGER PRIMARY KEY, fact TEXT, subject TEXT, name TEXT, value TEXT);" +
            Record::FailedSql(Record::NoteOf(MigrationAt(1))));
    EXPECT_EQ(-1, Upgrade({Nothing, [] { return -1; }, needs, Positive}));
    EXPECT_EQ("", X());
    EXPECT_EQ("Not run: [1] PatchEtrovisionCamModelDB has failed.", g_runs[2].reason);
    EXPECT_EQ(0, Upgrade({Nothing, Nothing, needs, Positive}));
    EXPECT_EQ("needs\n", X());
}

TEST_F(RunnerTest, TakesNothingFromARecordThatIsNone) {
    Sql(DB_SYSTEM,
        "CREATE TABLE vgupgrader_record(name TEXT, value TEXT); INSERT INTO vgupgrader_record"
        " VALUES('old_build', '1');");
    EXPECT_EQ(0, Upgrade({First}));
    EXPECT_EQ(1,
              CountInLog("Table vgupgrader_record is no record of an upgrade, nothing is taken from it.\n"));
    EXPECT_EQ("first\n", X());
    EXPECT_EQ("t\n", Tables(DB_SYSTEM));

    Sql(DB_SYSTEM,
        "CREATE TABLE vgupgrader_record(id INTEGER PRIMARY KEY, fact TEXT, subject TEXT, name TEXT, value TEXT);"
        "INSERT INTO vgupgrader_record(fact, name, value) VALUES('old_build', '', '7 or so'),"
        " ('missing', '0', '{\"t\":[\"x\",1]}'), ('missing', '99', '{}'), ('key', '', 'x'), ('weather', '', '');"
        "INSERT INTO vgupgrader_record(fact, subject, name, value) VALUES('key', '/etc/profile.d/x.sh', 'a', 'b'),"
        " ('key', '/var/packages/Vigilo/etc/settings.conf', 'two words', 'b');");
    Record::Facts facts;
    ASSERT_EQ(0, Record::Read(facts));
    EXPECT_FALSE(facts.oldBuild);
    EXPECT_EQ((VGDB::MissingNames{{"t", {"x"}}}), facts.missing[0]);
    EXPECT_EQ(7u, facts.nonsense.size());
    EXPECT_FALSE(facts.Owes()) << "a record does not say where root writes";
}

}  // namespace
