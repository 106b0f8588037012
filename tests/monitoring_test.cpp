// What an operator's tools collect: the line of a plugin, entries of the journal, a report for a support case.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "control/json.h"
#include "platform/base/json.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "tests/support/other_upgrade.h"
#include "tests/support/system_tree.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kNoRoom =
    "CREATE TRIGGER no_room BEFORE UPDATE ON camera BEGIN SELECT RAISE(ABORT, 'no room today'); END";

class Monitoring : public SystemTree {
protected:
    struct Answer {
        int status;
        std::string text;
    };

    static Answer Run(const std::string& arguments) {
        VGDB::CloseAll();
        const std::string out = Path("/answer");
        const int status =
            std::system((CONTROL_PROGRAM " " + arguments + " >" + out + " 2>/dev/null").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(out)};
    }

    static void LaySample(const std::string& build) {
        const std::string make = SOURCE_DIR "/scripts/sample-system " + build;
        ASSERT_EQ(0, std::system((make + " '" + Path("") + "'").c_str()));
        InstallSchemaFiles();
    }

    static void ExpectPlugin(int status, const std::string& state, const std::string& text,
                             const std::string& options = "") {
        const Answer answer = Run("status --format plugin " + options);
        EXPECT_EQ(status, answer.status) << answer.text;
        EXPECT_EQ(0U, answer.text.find("VGUPGRADER " + state + " - ")) << answer.text;
        EXPECT_NE(std::string::npos, answer.text.find(text)) << answer.text;
        EXPECT_EQ(answer.text.size() - 1, answer.text.find('\n')) << "one line";
    }
};

TEST_F(Monitoring, ThePluginHasFourStates) {
    LaySample("6500");
    ExpectPlugin(1, "WARNING", "an upgrade is due; ");
    {
        const OtherUpgrade other;
        ExpectPlugin(0, "OK", "runs for ");
    }
    Sql(DB_SYSTEM, kNoRoom);
    EXPECT_EQ(255, RunUpgrader("6500"));
    ExpectPlugin(2, "CRITICAL", "failed migration");
    ExpectPlugin(2, "CRITICAL", " | due=0 running=0s;60 failed=", "--warn 60");
    Sql(DB_SYSTEM, "DROP TRIGGER no_room");
    EXPECT_EQ(0, Run("retry").status);
    ExpectPlugin(0, "OK", "nothing failed, ");
    WriteFile(VGDB::GetDBPath(DB_SYSTEM), std::string(8192, 'x'));
    ExpectPlugin(2, "CRITICAL", "the main database is damaged");
    ExpectPlugin(3, "UNKNOWN", "--warn", "--warn soon");
    fs::remove_all(Path("/var/packages"));
    ExpectPlugin(3, "UNKNOWN", "No package tree");
}

// The host's journal, as far as it takes datagrams.
class Journal {
public:
    explicit Journal(const std::string& folder) {
        fs::create_directories(folder);
        const UniqueFd place(open(folder.c_str(), O_PATH | O_CLOEXEC));
        const std::string path = "/proc/self/fd/" + std::to_string(place.Get()) + "/socket";
        path.copy(m_address.sun_path, sizeof m_address.sun_path - 1);
        m_address.sun_family = AF_UNIX;
        m_socket = UniqueFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        EXPECT_EQ(0, bind(m_socket.Get(), Address(), sizeof m_address));
        m_sender = UniqueFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        EXPECT_EQ(0, connect(m_sender.Get(), Address(), sizeof m_address));
    }

    // The next entry with a line end at both ends; '' when there is none.
    std::string Next() const {
        std::string entry(10'000, '\0');
        const ssize_t size = recv(m_socket.Get(), entry.data(), entry.size(), 0);
        return size <= 0 ? "" : '\n' + entry.substr(0, static_cast<size_t>(size));
    }

    void Fill() const {
        while (send(m_sender.Get(), "full\n", 5, 0) == 5) {
        }
    }

private:
    const sockaddr* Address() const { return reinterpret_cast<const sockaddr*>(&m_address); }

    sockaddr_un m_address{};
    UniqueFd m_socket, m_sender;
};

TEST_F(Monitoring, TheJournalGetsOneEntryAtEveryEnd) {
    LaySample("6500");
    const Journal journal(Path("/run/systemd/journal"));
    const auto expectEntry = [&journal](std::initializer_list<std::string> fields) {
        const std::string entry = journal.Next();
        for (const std::string& field : fields)
            EXPECT_NE(std::string::npos, entry.find('\n' + field)) << field << " in " << entry;
        EXPECT_EQ("", journal.Next());
    };
    EXPECT_EQ(0, Run("snapshot before").status);
    Sql(DB_SYSTEM, kNoRoom);
    EXPECT_EQ(255, RunUpgrader("6500"));
    expectEntry({"MESSAGE=Upgrade from build 6500: ", "MESSAGE_ID=", "PRIORITY=3\n",
                 "VGUPGRADER_OLD_BUILD=6500\n", "VGUPGRADER_STATUS=255\n", "VGUPGRADER_FAILED=4\n"});
    Sql(DB_SYSTEM, "DROP TRIGGER no_room");
    EXPECT_EQ(0, Run("retry").status);
    expectEntry({"MESSAGE=Retry: ", "PRIORITY=6\n", "VGUPGRADER_STATUS=0\n", "VGUPGRADER_FAILED=0\n"});
    EXPECT_EQ(0, Run("restore --yes before").status);
    expectEntry({"MESSAGE=Snapshot before is restored", "PRIORITY=6\n", "VGUPGRADER_STATUS=0\n"});
    journal.Fill();
    EXPECT_EQ(0, RunUpgrader("6500")) << "a journal that takes nothing stops nothing";
}

TEST_F(Monitoring, AReportShowsNoRowAndNoSecret) {
    LaySample("3000");
    Sql(DB_SYSTEM,
        "UPDATE camera SET name = 'Xyzzy hall';"
        "UPDATE archive_pull_task SET name = 'Xyzzy, every night from the warehouse in the harbour to the head office';"
        "CREATE TRIGGER no_room BEFORE UPDATE ON archive_pull_task BEGIN SELECT RAISE(ABORT, 'no room today'); END;");
    WriteSettings(Settings() + "xyzzy line without a value\nsmtp_password=\"xyzzy\"\n");
    EXPECT_EQ(255, RunUpgrader("3000"));
    std::string log;
    for (const char* message :
         {"/var/packages/Vigilo/target/system.db: full [UPDATE camera SET name = 'Xyzzy']",
          "Failed to execute sql: UPDATE camera SET name = Xyzzy", "Removing host=\"xyzzy\"",
          "Failed to load camdetsetting from DB. [Xyzzy]", "Failed to move /volume1/Xyzzy to /Xyzzy"})
        log += StringPrintf("2026-11-21T19:07:12+01:00 vgupgrader:7 (Execute): %s\n", message);
    WriteFile(Path(kPackageLog), log + ReadFile(Path(kPackageLog)));

    EXPECT_EQ(0, Run("report " + Path("/report.json")).status);
    const std::string text = ReadFile(Path("/report.json"));
    EXPECT_LT(text.size(), 1'000'000U);
    EXPECT_GT(text.size(), 50'000U);
    for (const char* value : {"Xyzzy", "xyzzy", "Front door"})
        EXPECT_EQ(std::string::npos, text.find(value)) << value << text.substr(text.find(value) - 200, 400);
    Json::Value report;
    ASSERT_EQ(0, JsonParse(text, report));
    EXPECT_FALSE(report["status"]["failed"].empty());
    EXPECT_EQ(1U, report["history"].size());
    EXPECT_EQ(17U, report["check"]["databases"].size());
    EXPECT_TRUE(report["plan"].isMember("disk"));
    EXPECT_NE(std::string::npos,
              report["log"][report["log"].size() - 1].asString().find("Upgrade from build 3000"));
    ASSERT_EQ(17U, report["databases"].size());
    const Json::Value& main = report["databases"][0];
    EXPECT_EQ(
        "2026-11-21T19:07:12+01:00 vgupgrader:7 (Execute): /var/packages/Vigilo/target/system.db: full …",
        report["log"][0].asString());
    EXPECT_EQ("delete", main["journal_mode"].asString());
    EXPECT_EQ(4096, main["page_size"].asInt());
    bool seen = false;
    for (const Json::Value& table : main["tables"])
        if (table["table"] == "camera") {
            EXPECT_EQ(12, table["rows"].asInt());
            seen = true;
        }
    EXPECT_TRUE(seen);
}

TEST_F(Monitoring, AReportOfAHugeSystemIsSmall) {
    CreateNewSystem();
    std::string sql;
    for (int i = 0; i < 800; ++i)
        sql += StringPrintf("CREATE TABLE t%d(%s);", i, std::string(500, 'c').c_str());
    Sql(DB_SYSTEM, sql);
    const std::string line = R"({"started":"2026-11-21T19:07:12+01:00","status":0,"migrations":[],"x":")" +
                             std::string(50'000, 'x') + "\"}\n";
    std::string history;
    for (int i = 0; i < 100; ++i)
        history += line;
    WriteFile(Path(kHistory), history);
    WriteFile(Path(kPackageLog), std::string(5'000'000, 'y'));
    const Answer answer = Run("report");
    EXPECT_EQ(0, answer.status);
    EXPECT_LT(answer.text.size(), 1'000'000U);
    Json::Value report;
    EXPECT_EQ(0, JsonParse(answer.text, report));
    EXPECT_FALSE(report["history"].empty());
}

}  // namespace
