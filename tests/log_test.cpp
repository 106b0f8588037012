// The package log and what stands in its place.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string>

#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "tests/support/pattern.h"
#include "tests/support/system_tree.h"

namespace fs = std::filesystem;

namespace {

class PackageLog : public SystemTree {
protected:
    // What a process that does the work writes to its standard error.
    static std::string StandardErrorOf(const std::function<void()>& work) {
        const std::string path = Path("/stderr");
        const pid_t child = fork();
        if (child == 0) {
            dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            work();
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
        return ReadFile(path);
    }
};

TEST_F(PackageLog, CutsAMessageAtACharacter) {
    for (const int pad : {0, 1, 2}) {
        fs::remove(Path(kPackageLog));
        std::string message(static_cast<size_t>(pad), 'x');
        while (message.size() < 2'000)
            message += "\xe2\x82\xac";  // a character of three bytes
        const std::string whole = message.substr(0, 2'000 - static_cast<size_t>((2'000 - pad) % 3));
        VG_LIB_LOG("%smore\n", message.c_str());
        EXPECT_EQ("(TestBody): " + whole + " …\n", Log());
    }
    fs::remove(Path(kPackageLog));
    VG_LIB_LOG("%s\n", std::string(2'000, 'x').c_str());
    EXPECT_EQ("(TestBody): " + std::string(2'000, 'x') + "\n", Log()) << "just not too long";
}

TEST_F(PackageLog, IsALineAMessageWithTheLocalTime) {
    StandardErrorOf([] {
        setenv("TZ", "ABC-5:30", 1);
        tzset();
        VG_LIB_LOG("a\nb\r\x01\x1b[0m\tc\n");
    });
    const std::string line = ReadFile(Path(kPackageLog));
    EXPECT_TRUE(Pattern("^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\+05:30 vgupgrader:[0-9]+ "
                        "\\(operator\\(\\)\\): a\\\\nb\\\\r\\\\x01\\\\x1b\\[0m\tc\n$")
                    .IsIn(line))
        << line;
    EXPECT_EQ(static_cast<fs::perms>(0640), fs::status(Path(kPackageLog)).permissions());
}

TEST_F(PackageLog, GoesToStandardErrorWhenItsPlaceIsTaken) {
    const std::string log = Path(kPackageLog);
    const auto work = [] { VG_LIB_LOG("here\n"); };
    EXPECT_EQ("", StandardErrorOf(work));
    EXPECT_EQ(1, CountInLog("here"));
    fs::remove(log);
    ASSERT_EQ(0, mkfifo(log.c_str(), 0600));
    EXPECT_NE(std::string::npos, StandardErrorOf(work).find("here\n")) << "a FIFO that nobody reads";
    fs::remove(log);
    fs::create_directory(log);
    EXPECT_NE(std::string::npos, StandardErrorOf(work).find("here\n")) << "a folder";
    fs::remove_all(Path("/var/log"));
    WriteFile(Path("/var/log"), "a file");
    EXPECT_NE(std::string::npos, StandardErrorOf(work).find("here\n")) << "no place for the folder";
}

TEST_F(PackageLog, IsReadableInItsFoldersWhateverTheUmask) {
    fs::remove_all(Path("/var/log"));
    const mode_t mask = umask(0077);
    VG_LIB_LOG("here\n");
    EXPECT_EQ(0077u, umask(mask));
    EXPECT_EQ(static_cast<fs::perms>(0755), fs::status(Path(kLogDir)).permissions());
    EXPECT_EQ(static_cast<fs::perms>(0640), fs::status(Path(kPackageLog)).permissions());
    EXPECT_EQ(1, CountInLog("here"));
}

TEST_F(PackageLog, FollowsALinkToALogAndMakesNoneBehindOne) {
    fs::create_symlink("/var/log/elsewhere", Path(kPackageLog));
    EXPECT_NE(std::string::npos, StandardErrorOf([] { VG_LIB_LOG("here\n"); }).find("here\n"));
    EXPECT_FALSE(fs::exists(Path("/var/log/elsewhere")));
    WriteFile(Path("/var/log/elsewhere"), "");
    VG_LIB_LOG("there\n");
    EXPECT_NE(std::string::npos, ReadFile(Path("/var/log/elsewhere")).find("there\n"));
}

TEST_F(PackageLog, IsNotTouchedByAProgramOfAnotherName) {
    const std::string text = StandardErrorOf([] {
        SetLogProgram("other", LogSink::StandardError);
        VG_LIB_LOG("here\n");
    });
    EXPECT_NE(std::string::npos, text.find(" other:")) << text;
    EXPECT_FALSE(fs::exists(Path(kPackageLog)));
}

}  // namespace
