// vgupgradectl, run as a program on trees before, during and after upgrades.
#include <json/value.h>
#include <json/writer.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "control/json.h"
#include "control/secrets.h"
#include "control/text.h"
#include "platform/base/json.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/settings/key_value_text.h"
#include "tests/support/other_upgrade.h"
#include "tests/support/system_tree.h"
#include "upgrader/history.h"
#include "upgrader/registry.h"
#include "upgrader/restore_mark.h"
#include "upgrader/runner.h"

namespace fs = std::filesystem;

namespace {

struct Answer {
    int status;
    std::string out;
    std::string err;
};

class Control : public SystemTree {
protected:
    // What the program prints is kept beside the tree.
    static Answer Run(const std::string& arguments) {
        VGDB::CloseAll();
        const std::string out = Beside("out"), err = Beside("err");
        const int status = std::system((CONTROL_PROGRAM " " + arguments + " >" + out + " 2>" + err).c_str());
        const Answer answer{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out), ReadFile(err)};
        fs::remove(out);
        fs::remove(err);
        return answer;
    }

    static Json::Value RunJson(const std::string& arguments, int expected = 0) {
        const Answer answer = Run("--json " + arguments);
        EXPECT_EQ(expected, answer.status) << arguments << ": " << answer.out << answer.err;
        Json::Value value;
        EXPECT_EQ(0, JsonParse(answer.out, value)) << arguments << ": " << answer.out;
        return value;
    }

    static void LaySample(const std::string& build) {
        const std::string make = SOURCE_DIR "/scripts/sample-system " + build;
        ASSERT_EQ(0, std::system((make + " '" + Path("") + "'").c_str()));
        InstallSchemaFiles();
    }

    // The commands as they can be typed for the tree.
    static std::string Typed(const std::string& arguments) {
        return "vgupgradectl --root " + std::string(std::getenv("VG_SYSROOT")) + ' ' + arguments;
    }
    static std::string TypedUpgrade(const std::string& build) {
        return "VG_SYSROOT=" + std::string(std::getenv("VG_SYSROOT")) + " vgupgrader " + build;
    }

    static Json::Value LastUpgrade() {
        std::vector<Json::Value> history;
        EXPECT_EQ(0, ReadHistory(history));
        return history.empty() ? Json::Value() : history.back();
    }

    // Everything that can be seen of the tree: reading a database that must be recovered would change it.
    static std::string Listing() {
        std::map<std::string, std::string> entries;
        for (const auto& entry : fs::recursive_directory_iterator(Path(""))) {
            struct stat status {};
            EXPECT_EQ(0, lstat(entry.path().c_str(), &status));
            entries[entry.path()] =
                StringPrintf("%llu %lld %lld.%ld %o ", static_cast<unsigned long long>(status.st_ino),
                             static_cast<long long>(status.st_size),
                             static_cast<long long>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec,
                             status.st_mode) +
                (S_ISREG(status.st_mode) ? ReadFile(entry.path()) : "");
        }
        std::string text;
        for (const auto& [path, seen] : entries)
            text += path + ' ' + seen + '\n';
        return text;
    }

    static std::string Names(const Json::Value& rows) {
        std::vector<std::string> names;
        for (const Json::Value& row : rows)
            names.push_back(row["name"].asString());
        return JoinStrings(names, " ");
    }

private:
    static std::string Beside(const char* name) {
        std::string root = Path("");
        while (root.ends_with('/'))
            root.pop_back();
        return root + '.' + name;
    }
};

const std::string kReading[] = {"status", "plan 3000",    "plan --sql 3000", "history",
                                "check",  "check --full", "migrations"};

class ControlOnSample : public Control, public testing::WithParamInterface<const char*> {
protected:
    ControlOnSample() { LaySample(GetParam()); }
};

TEST_P(ControlOnSample, IsHealthyAfterItsUpgrade) {
    ASSERT_EQ(0, RunUpgrader(GetParam())) << Log();
    // Once more from the beginning: now the once-only keys stand, and migrations count as done.
    const Json::Value plan = RunJson("plan 0");
    EXPECT_TRUE(std::any_of(plan["migrations"].begin(), plan["migrations"].end(),
                            [](const Json::Value& row) { return row["verdict"] == "done"; }));
    const Json::Value next = RunJson("plan");
    EXPECT_EQ(9760, next["old_build"].asInt()) << "the stamp's";
    for (const Json::Value& row : next["migrations"])
        EXPECT_EQ(0, row["threshold"].asInt()) << row["name"];
    EXPECT_EQ(0u, next["disk"].size());

    const Answer status = Run("status");
    EXPECT_EQ(0, status.status);
    EXPECT_TRUE(status.out.starts_with("Healthy. Last: upgrade from ")) << status.out;
    EXPECT_EQ(1, std::count(status.out.begin(), status.out.end(), '\n'));
    EXPECT_EQ(0, Run("check").status) << Run("check").out;
}

TEST_P(ControlOnSample, LooksWithoutTouchingAnythingAndWithinAHundredColumns) {
    const auto look = [] {
        const std::string before = Listing();
        for (const std::string& command : kReading) {
            const Answer answer = Run(command);
            EXPECT_NE(1, answer.status) << command << ": " << answer.err;
            EXPECT_EQ(std::string::npos, answer.out.find('\x1b')) << command;
            if (command.find("--sql") != std::string::npos)
                continue;
            for (const std::string& line : SplitString(answer.out, '\n'))
                EXPECT_GE(100u, WidthOf(line)) << command << ": " << line;
        }
        EXPECT_EQ(before, Listing());
    };
    look();
    ASSERT_EQ(0, RunUpgrader(GetParam())) << Log();
    look();

    if (std::system("script -qec true /dev/null >/dev/null 2>&1") != 0)
        GTEST_SKIP() << "There is no terminal of 80 columns: /dev/pts or script is missing.";
    VGDB::CloseAll();
    const std::string out = Path("/terminal");
    for (const char* const command :
         {"status", "plan 0", "history", "history --rows", "migrations", "plan --help"}) {
        const std::string run =
            std::string("stty cols 80; NO_COLOR=1 '") + CONTROL_PROGRAM + "' " + command + " 2>/dev/null";
        ASSERT_EQ(0, std::system(("script -qec \"" + run + "\" /dev/null >" + out).c_str())) << command;
        const std::vector<std::string> lines = SplitString(ReadFile(out), '\n');
        EXPECT_NE(0u, lines.size()) << command;
        for (const std::string& line : lines)
            EXPECT_GE(81u, WidthOf(line)) << command << ", with the terminal's carriage return: " << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Builds, ControlOnSample, testing::Values("2300", "3000", "6500"));

// --- an upgrade that was killed -----------------------------------------------------------------------------

int ChangesCameras() {
    return VGDB::Execute(DB_SYSTEM, "UPDATE camera SET model = model || hex(zeroblob(4000));");
}
int ChangesLog() { return VGDB::Execute(DB_LOG, "INSERT INTO log(user) VALUES('x');"); }
int DiesHere() { return kill(getpid(), SIGKILL); }

class Killed : public Control {
protected:
    // An upgrade from build 3000 dies in its third row: the journal of the main database has to be played back,
    // and the log is in write-ahead mode.
    Killed() {
        LaySample("3000");
        Sql(DB_LOG, "PRAGMA journal_mode = WAL;");
        const pid_t pid = fork();
        if (pid == 0) {
            VGDB::StartAnew();
            Plan plan;
            plan.oldBuild = 3000;
            plan.migrations = {{.number = 0, .name = "A", .threshold = 1, .function = ChangesCameras},
                               {.number = 1, .name = "B", .threshold = 1, .function = ChangesLog},
                               {.number = 2, .name = "C", .threshold = 1, .function = DiesHere}};
            Record::Facts facts;
            (void)Record::Begin(facts, plan.oldBuild, plan.missing);
            (void)Runner(facts, true).Run(plan, {});
            _exit(0);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_TRUE(fs::exists(VGDB::GetDBPath(DB_SYSTEM) + "-journal"));
        EXPECT_TRUE(fs::exists(VGDB::GetDBPath(DB_LOG) + "-wal"));
    }
};

TEST_F(Killed, IsSeenAndNotTouched) {
    const std::string before = Listing();
    for (const std::string& command : kReading)
        EXPECT_NE(1, Run(command).status) << command << ": " << Run(command).err;

    const Json::Value status = RunJson("status", 2);
    EXPECT_EQ(3000, status["interrupted"]["old_build"].asInt());
    EXPECT_EQ(TypedUpgrade("3000"), status["next"].asString());
    const Json::Value plan = RunJson("plan 6500");
    EXPECT_EQ(3000, plan["old_build"].asInt()) << "the older one counts";
    EXPECT_EQ(3000, plan["interrupted"]["old_build"].asInt());
    EXPECT_EQ(before, Listing());

    const Answer retry = Run("retry");
    EXPECT_EQ(1, retry.status);
    EXPECT_NE(std::string::npos, retry.err.find("vgupgrader 3000")) << retry.err;

    ASSERT_EQ(0, RunUpgrader("6500")) << Log();
    EXPECT_EQ(0, Run("status").status);
    EXPECT_EQ(true, RunJson("history")[0]["resumed"].asBool());
}

// --- failures -----------------------------------------------------------------------------------------------

TEST_F(Control, RetriesTheRowsThatFailed) {
    LaySample("6500");
    Sql(DB_SYSTEM,
        "CREATE TRIGGER in_the_way BEFORE UPDATE ON camera BEGIN SELECT RAISE(ABORT, 'in the way'); END;");
    ASSERT_EQ(255, RunUpgrader("6500"));

    const Json::Value status = RunJson("status", 2);
    const std::string failed = Names(status["failed"]);
    ASSERT_NE("", failed);
    EXPECT_EQ(Typed("retry"), status["next"].asString());
    const Answer text = Run("status");
    EXPECT_NE(std::string::npos, text.out.find("Next: " + Typed("retry") + "\n")) << text.out;
    EXPECT_NE(std::string::npos, text.out.find(status["failed"][0]["name"].asString())) << text.out;

    EXPECT_EQ(failed, Names(RunJson("retry", 2)["failed"])) << "nothing has changed";

    Sql(DB_SYSTEM, "DROP TRIGGER in_the_way;");
    std::set<std::string> always;
    for (size_t row = 0; row < kMigrationCount; ++row)
        if (MigrationRegistry[row].threshold == 0)
            always.insert(MigrationAt(row).name);
    const Json::Value retried = RunJson("retry");
    EXPECT_EQ(0u, retried["failed"].size());
    EXPECT_TRUE(retried["argument"].isNull());
    const std::string ran = Names(retried["migrations"]);
    EXPECT_TRUE(ran.starts_with(failed + ' ')) << ran;
    EXPECT_EQ(status["failed"].size() + always.size(), retried["migrations"].size()) << ran;
    EXPECT_EQ(ran, Names(LastUpgrade()["migrations"]));
    EXPECT_EQ(3u, RunJson("history").size());
    EXPECT_EQ(1u, RunJson("history -n 1").size());

    EXPECT_EQ(0, Run("status").status) << Run("status").out;
    const Answer nothing = Run("retry");
    EXPECT_EQ(0, nothing.status);
    EXPECT_EQ("Nothing to retry.\n", nothing.out);
    EXPECT_EQ(3u, RunJson("history").size());
}

TEST_F(Control, DeliversWhatIsOwed) {
    CreateNewSystem();
    Sql(DB_SYSTEM, Record::MakeSql(false) +
                       Record::OwedSql(KeyChange{std::string(kSettingsConf), "owed", "yes"}) +
                       Record::FailedSql({.name = "Gone", .threshold = 7}));
    const Json::Value status = RunJson("status", 2);
    EXPECT_EQ(1, status["owed"].asInt());
    EXPECT_EQ(Typed("retry"), status["next"].asString());
    const Answer retry = Run("retry");
    EXPECT_EQ(2, retry.status);
    EXPECT_NE(std::string::npos, retry.out.find("is not among the migrations of this version any more: Gone"))
        << retry.out;
    EXPECT_EQ("owed=\"yes\"\n", Settings());
    EXPECT_TRUE(RunJson("status", 2)["next"].isNull());
}

TEST_F(Control, ChecksDatabasesAndSettings) {
    CreateNewSystem();
    WriteSettings("a=\"1\"\n# comment\n\nno pair\na=2\nb=\"open\n");
    Sql(DB_POS,
        "DROP TABLE pos; CREATE TABLE pos(id INTEGER PRIMARY KEY, name INTEGER); CREATE TABLE more(x);");
    fs::remove(VGDB::GetDBPath(DB_FACE));
    WriteFile(VGDB::GetDBPath(DB_EDGE), std::string(5000, 'x'));
    Sql(DB_SNAPSHOT,
        "CREATE TABLE bulk(x); CREATE INDEX bulk_x ON bulk(x);"
        "INSERT INTO bulk WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20000)"
        " SELECT hex(randomblob(20)) FROM n;");
    const std::string damaged = VGDB::GetDBPath(DB_SNAPSHOT);
    std::string content = ReadFile(damaged);
    content.replace(content.size() / 2 / 4096 * 4096, 4096, std::string(4096, '\xff'));
    WriteFile(damaged, content);

    const Json::Value result = RunJson("check", 2);
    std::map<std::string, std::string> problems;
    for (const char* const part : {"databases", "settings"})
        for (const Json::Value& one : result[part])
            for (const Json::Value& problem : one["problems"])
                problems[one.get("database", one["file"]).asString()] += problem.asString() + '\n';
    EXPECT_EQ("no such file\n", problems["@vigilo/face.db"]);
    EXPECT_EQ("is no database any more\n", problems["@vigilo/edge.db"]);
    EXPECT_NE("", problems["@vigilo/snapshot.db"]);
    EXPECT_NE(std::string::npos, problems["pos.db"].find("missing column: pos."));
    EXPECT_NE(std::string::npos, problems["pos.db"].find("type that differs: pos.name"))
        << problems["pos.db"];
    EXPECT_EQ(std::string::npos, problems["pos.db"].find("more"));
    EXPECT_EQ(
        "line 4: holds no key with a value\nline 5: a stands twice, the first holds\n"
        "line 6: the value of b has a quote that is not closed, or text behind it\n",
        problems[std::string(kSettingsConf)]);
    EXPECT_EQ(5u, problems.size());
}

// --- usage --------------------------------------------------------------------------------------------------

TEST_F(Control, LooksWhileAnUpgradeRunsAndWaitsToWrite) {
    CreateNewSystem();
    const OtherUpgrade other;
    const Json::Value status = RunJson("status");
    EXPECT_EQ(other.Pid(), status["running"]["pid"].asInt());
    EXPECT_TRUE(status["next"].isNull());
    EXPECT_EQ(other.Pid(), RunJson("plan 3000")["running"]["pid"].asInt());
    for (const char* const command : {"plan 3000", "check", "history"})
        EXPECT_TRUE(Run(command).out.starts_with("Process " + std::to_string(other.Pid()))) << command;
    const Answer retry = Run("--wait 0 retry");
    EXPECT_EQ(1, retry.status);
    EXPECT_NE(std::string::npos, retry.err.find("still runs; nothing was changed.")) << retry.err;
}

// What is typed wrongly gets one line that says what is wrong, as text and as a document.
TEST_F(Control, SaysWhatIsWrong) {
    CreateNewSystem();
    fs::create_directories(Path("/elsewhere"));
    ASSERT_EQ(0, Run("snapshot taken").status);
    const std::string see = " (see vgupgradectl --help)";
    const auto seeOf = [](const std::string& command) {
        return " (see vgupgradectl " + command + " --help)";
    };
    const std::string range = " needs a number from 0 to 4294967295, not ";
    const std::string elsewhere = Path("/elsewhere"), target = Path("/elsewhere/var/packages/Vigilo/target/");
    const std::string big(309, '9');
    const struct {
        std::string arguments;
        std::string message;
    } cases[] = {
        {"", "Which command?" + see},
        {"--json", "Which command?" + see},
        {"plant", "No such command: plant" + see},
        {"Status", "No such command: Status" + see},
        {"''", "No such command: " + see},
        {"--nope status", "No such option: --nope" + seeOf("status")},
        {"-x", "No such option: -x" + see},
        {"status --sql", "No such option: --sql" + seeOf("status")},
        {"status plan", "One word too many: plan" + seeOf("status")},
        {"plan 3000 6500", "One word too many: 6500" + seeOf("plan")},
        {"status --json=yes", "--json takes no value" + seeOf("status")},
        {"plan --sql=3", "--sql takes no value" + seeOf("plan")},
        {"--wait 1 --wait 2 status", "--wait stands twice" + seeOf("status")},
        {"status --wait", "--wait needs a value" + seeOf("status")},
        {"--wait soon status", "--wait" + range + "'soon'" + seeOf("status")},
        {"--wait -1 status", "--wait" + range + "'-1'" + seeOf("status")},
        {"--wait 4294967296 status", "--wait" + range + "'4294967296'" + seeOf("status")},
        {"history -n 0", "-n needs a number from 1 to 4294967295, not '0'" + seeOf("history")},
        {"history -n " + big, "-n needs a number from 1 to 4294967295, not '" + big + "'" + seeOf("history")},
        {"rehearse --samples -1", "--samples" + range + "'-1'" + seeOf("rehearse")},
        {"rehearse --samples 0x10", "--samples" + range + "'0x10'" + seeOf("rehearse")},
        {"plan ''", "OLD-BUILD is empty" + seeOf("plan")},
        {"plan", "No upgrade has stamped these settings yet: name OLD-BUILD."},
        {"plan abc", "Not a build number: abc"},
        {"plan -3000", "Not a build number: -3000. Did you mean 3000?"},
        {"plan 8.2.4-6479", "Not a build number: 8.2.4-6479. Did you mean 6479?"},
        {"plan 4294967296", "Not a build number: 4294967296"},
        {"plan 6500 --schema /nowhere", "--schema: there is no schema file /nowhere/system.sql"},
        {"--root '' status", "--root is empty" + seeOf("status")},
        {"--root " + Path("/nowhere") + " status", "No such folder: " + Path("/nowhere")},
        {"--root " + elsewhere + " status", "No package tree: there is no folder " + target},
        {"--root " + elsewhere + " migrations", "No package tree: there is no folder " + target},
        {"verify", "verify needs SNAPSHOT" + seeOf("verify")},
        {"restore ''", "SNAPSHOT is empty" + seeOf("restore")},
        {"snapshots --to ''", "--to is empty" + seeOf("snapshots")},
        {"restore taken </dev/null", "It asks on a terminal; elsewhere it needs --yes"},
        {"retry --give-up 133 </dev/null", "It asks on a terminal; elsewhere it needs --yes"},
        {"retry --give-up 133 --yes", "No failed migration has the number 133."},
        {"retry --give-up 286 --yes", "There is no migration [286]"},
        {"retry --give-up", "--give-up needs a value" + seeOf("retry")},
    };
    for (const auto& [arguments, message] : cases) {
        const Answer answer = Run(arguments);
        EXPECT_EQ(1, answer.status) << arguments;
        EXPECT_EQ(arguments == "--json" ? "{\"error\":\"" + message + "\"}\n" : "", answer.out) << arguments;
        EXPECT_EQ(arguments == "--json" ? "" : "vgupgradectl: " + message + '\n', answer.err) << arguments;
        EXPECT_EQ(message, RunJson(arguments == "--json" ? "" : arguments, 1)["error"].asString())
            << arguments;
    }
    EXPECT_EQ(0, Run("--root " + Path("") + " status").status);
    EXPECT_NE(0, std::system(CONTROL_PROGRAM " status >/dev/full 2>/dev/null"));
}

TEST_F(Control, HelpsWithEveryCommand) {
    const std::string all = Run("--help").out;
    EXPECT_EQ(Run("--help").out, Run("--help --json").out);
    for (const char* const command : {"status", "plan", "rehearse", "history", "retry", "snapshot",
                                      "snapshots", "verify", "restore", "forget", "check", "migrations"}) {
        EXPECT_NE(std::string::npos, all.find(std::string("\n  ") + command + ' ')) << command;
        const Answer help = Run(std::string(command) + " --help");
        EXPECT_EQ(0, help.status);
        EXPECT_NE(std::string::npos, help.out.find(std::string("Usage: vgupgradectl [OPTIONS] ") + command))
            << help.out;
        EXPECT_NE(std::string::npos, help.out.find("--root DIR")) << "general options are named too";
    }
    EXPECT_NE(std::string::npos, Run("verify --help").out.find("verify SNAPSHOT\n"));
    EXPECT_NE(std::string::npos, Run("plan --help").out.find("plan [OLD-BUILD]\n"));
}

// --- status -------------------------------------------------------------------------------------------------

TEST_F(Control, TellsWhenAnUpgradeIsDue) {
    CreateNewSystem();
    const struct {
        std::string settings;
        int status;
        bool due, newer;
        std::string next;
        const char* words;
    } cases[] = {
        {"", 0, false, false, "", "Healthy. No upgrade is noted."},
        {"vg_upgrader_version=\"9.2.9-9760\"\n", 0, false, false, "", "Healthy."},
        {"vg_upgrader_version=\"8.2.4-6479\"\n", 2, true, false, TypedUpgrade("6479"),
         "An upgrade to 9.2.9-9760 is due: the data are of 8.2.4-6479."},
        {"vg_upgrader_version=\"9.3.0-9999\"\n", 2, false, true, "",
         "The data are of 9.3.0-9999, newer than this program (9.2.9-9760)."},
    };
    for (const auto& [settings, code, due, newer, next, words] : cases) {
        WriteSettings(settings);
        const Json::Value status = RunJson("status", code);
        EXPECT_EQ(due, status["due"].asBool()) << settings;
        EXPECT_EQ(newer, status["newer"].asBool()) << settings;
        EXPECT_EQ(next, status["next"].asString()) << settings;
        EXPECT_TRUE(Run("status").out.starts_with(words)) << Run("status").out;
    }
    EXPECT_EQ("vgupgradectl: The data are of 9.3.0-9999, newer than this program (9.2.9-9760).\n",
              Run("plan").err);
    EXPECT_EQ(2, Run("plan 3000").status) << "in its way";

    WriteSettings("");
    Sql(DB_POS, "DROP TABLE pos;");
    const Json::Value status = RunJson("status", 2);
    EXPECT_TRUE(status["due"].asBool());
    EXPECT_TRUE(status["next"].isNull()) << "nobody knows the build";
    EXPECT_NE(std::string::npos, Run("status").out.find("vgupgrader OLD-BUILD, ")) << Run("status").out;
}

// A command that only looks waits for nobody.
TEST_F(Control, SaysWhoHoldsADatabase) {
    CreateNewSystem();
    VGDB::CloseAll();
    std::vector<std::unique_ptr<sqlite3, decltype(&sqlite3_close)>> held;
    for (const DB_INSTANCE db : {DB_SYSTEM, DB_LOG}) {
        sqlite3* connection = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(VGDB::GetDBPath(db).c_str(), &connection));
        held.emplace_back(connection, &sqlite3_close);
        ASSERT_EQ(SQLITE_OK, sqlite3_exec(connection, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));
    }
    const std::string holder = "held by process " + std::to_string(getpid()) + " (";
    const auto begin = std::chrono::steady_clock::now();
    const Json::Value status = RunJson("status", 2);
    EXPECT_EQ("held", status["main_database"].asString());
    EXPECT_TRUE(status["owed"].isNull()) << "it cannot be told";
    EXPECT_NE(std::string::npos, Run("status").out.find(holder)) << Run("status").out;
    EXPECT_NE(std::string::npos, Run("plan 3000").err.find(holder)) << Run("plan 3000").err;
    EXPECT_NE(std::string::npos, Run("check").out.find(holder)) << Run("check").out;
    held.erase(held.begin());
    const Answer plan = Run("plan 3000");
    EXPECT_EQ(2, plan.status);
    EXPECT_NE(std::string::npos, plan.out.find("log.db is " + holder)) << plan.out;
    EXPECT_GT(std::chrono::seconds(5), std::chrono::steady_clock::now() - begin);
}

// What is typed can be: a prefix that the shell would take apart is quoted.
TEST_F(Control, QuotesWhatIsToBeTyped) {
    CreateNewSystem();
    WriteSettings("vg_upgrader_version=\"8.2.4-6479\"\n");
    const std::string link = Path("/it's here");
    fs::create_directory_symlink(Path(""), link);
    const Answer answer = Run("--json --root \"" + link + "\" status");
    EXPECT_NE(std::string::npos,
              answer.out.find("VG_SYSROOT='" + Path("/it'\\\\''s here") + "' vgupgrader 6479"))
        << answer.out;
}

TEST_F(Control, TellsAMainDatabaseThatCannotBeUsed) {
    CreateNewSystem();
    const std::string path = VGDB::GetDBPath(DB_SYSTEM);
    WriteFile(path, std::string(5000, 'x'));
    const Json::Value status = RunJson("status", 2);
    EXPECT_EQ("damaged", status["main_database"].asString());
    EXPECT_EQ(Typed("check"), status["next"].asString());
    EXPECT_EQ(2, Run("plan 3000").status);
    EXPECT_NE(std::string::npos, Run("plan 3000").out.find("system.db is no database any more."))
        << Run("plan 3000").out;
    EXPECT_EQ(2, Run("check").status);

    fs::remove(path);
    EXPECT_EQ("missing", RunJson("status")["main_database"].asString());
    EXPECT_EQ(0, Run("plan 3000").status) << Run("plan 3000").out;
}

TEST_F(Control, RefusesAllButStatusWhileARestoreIsUnfinished) {
    CreateNewSystem();
    WriteFile(Path(kRestoreMark), "before\n");
    for (const char* const command : {"plan 3000", "history", "retry", "check", "migrations"}) {
        const Answer answer = Run(command);
        EXPECT_EQ(1, answer.status) << command;
        EXPECT_NE(std::string::npos, answer.err.find(Typed("restore before"))) << answer.err;
    }
    const Json::Value status = RunJson("status", 2);
    EXPECT_EQ("before", status["restoring"].asString());
    EXPECT_EQ(Typed("restore before"), status["next"].asString());
}

TEST_F(Control, CompletesItsCommandsInBash) {
    CreateNewSystem();
    ASSERT_EQ(0, Run("snapshot 'before it'").status);
    const std::string program = CONTROL_PROGRAM;
    const struct {
        const char* words;
        const char* completed;
    } cases[] = {{"plan --sq", "--sql\n"},
                 {"--root / his", "history\n"},
                 {"--json snapshots --t", "--to\n"},
                 {"restore bef", "before\\ it\n"},
                 {"history -n ", "\n"},
                 {"--wait 5 verify ''", "before\\ it\n"}};
    std::string script = Run("completion").out + "vgupgradectl() { " + program + " \"$@\"; }\n";
    std::string expected;
    for (const auto& [words, completed] : cases) {
        script += std::string("COMP_WORDS=(vgupgradectl ") + words +
                  (std::string(words).ends_with(' ') ? " '')" : ")") +
                  "; COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); COMPREPLY=(); _vgupgradectl\n"
                  "echo \"${COMPREPLY[@]}\"\n";
        expected += completed;
    }
    WriteFile(Path("/completion"), script);
    const std::string out = Path("/completed");
    ASSERT_EQ(0, std::system(("bash " + Path("/completion") + " >" + out).c_str()));
    EXPECT_EQ(expected, ReadFile(out));
}

TEST(ControlText, ShowsNoSecret) {
    for (const char* const name :
         {"password", "smtp_passwd", "apiKey",     "APIKey",          "sid",      "SIDPath",
          "wifi_psk", "user_pwd",    "Token",      "mypasswordfield", "a.secret", "KEY",
          "passwd1",  "token2",      "pwd_2",      "psk12",           "apikey",   "userpwd",
          "smtppass", "sessionid",   "passphrase", "Credentials",     "userPWD2"})
        EXPECT_TRUE(IsSecretName(name)) << name;
    for (const char* const name : {"keyboard", "inside", "passage", "side", "pskill", "2", ""})
        EXPECT_FALSE(IsSecretName(name)) << name;
    const struct {
        const char* name;
        const char* value;
        const char* shown;
    } cases[] = {
        {"api_key", "1", "***"},
        {"json", "{ \"a\": [ {\"authToken\": {\"x\": 1}} ], \"b\": 1 }",
         "{\"a\":[{\"authToken\":\"***\"}],\"b\":1}"},
        {"json", " \n[{\"pwd1\":\"x\"}]", "[{\"pwd1\":\"***\"}]"},
        {"json", "{ \"a\": 1 }", "{ \"a\": 1 }"},
        {"json", "{\"u\":\"http:\\/\\/a:b@c\",\"in\":\"{\\\"sid\\\":7}\"}",
         "{\"in\":\"{\\\"sid\\\":\\\"***\\\"}\",\"u\":\"http://***@c\"}"},
        {"path", "rtsp://admin:a@b@10.0.0.7:554/live and http://x@y",
         "rtsp://***@10.0.0.7:554/live and http://***@y"},
        {"path", "rtsp://admin:pa/ss@10.0.0.7/live", "rtsp://***@10.0.0.7/live"},
        {"path", "http://[::1]:80/a@b http://h:80/a@b http://h/?to=a@b a@b://",
         "http://[::1]:80/a@b http://h:80/a@b http://h/?to=a@b a@b://"},
    };
    for (const auto& [name, value, shown] : cases)
        EXPECT_EQ(shown, MaskedValue(name, value));
}

TEST(ControlText, IsUtf8WithoutControlCharacters) {
    EXPECT_EQ("a\\x1b[31m\\n\\u0085\\xff\\u202e\\x7f\xc3\xa9",
              Escaped("a\x1b[31m\n\xc2\x85\xff\xe2\x80\xae\x7f\xc3\xa9"));
    Json::Value value;
    value["a\xff"] = std::string("\x1b\0\"\\\xc2\x85\xed\xa0\x80\xc3\xa9", 11);
    value["n"][0] = 0.45000000000000001;
    value["n"][1] = Json::Int64{INT64_MIN};
    value["n"][2] = 1e300 * 1e300;
    EXPECT_EQ(
        "{\"a\xef\xbf\xbd\":\"\\u001b\\u0000\\\"\\\\\\u0085\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbd\xc3\xa9\","
        "\"n\":[0.45,-9223372036854775808,null]}",
        JsonDocument(value));
}

TEST(ControlText, WrapsWhatALineHasNoRoomFor) {
    TextTable table({">n", "text"});
    table.Add({"10", std::string(97, 'x') + " y"});
    EXPECT_EQ(" n  text\n10  " + std::string(96, 'x') + "\n    x y\n", table.ToString());
    TextTable wide({"", "", ""});
    wide.Add({"UpdateTheSettings" + std::string(40, 'x') + "OfEveryCamera", std::string(50, 'y'), "short"});
    const std::string text = wide.ToString();
    for (const std::string& line : SplitString(text, '\n'))
        EXPECT_GE(100u, WidthOf(line)) << line;
    EXPECT_EQ(1, std::count(text.begin(), text.end(), '\n') - 1) << text;
}

}  // namespace
