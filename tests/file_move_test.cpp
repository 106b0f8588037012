// Moves of the file library, within one file system and across two.
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "platform/base/strings.h"
#include "platform/files/files.h"
#include "platform/files/folder.h"
#include "platform/files/rename_entry.h"
#include "tests/support/system_tree.h"

namespace fs = std::filesystem;

namespace {

enum class Target { kSameFileSystem, kOtherFileSystem };

class FileTree : public SystemTree {
protected:
    FileTree() {
        fs::create_directories(m_from);
        fs::create_directories(Path("/to"));
    }

    static bool Exists(const std::string& path) { return fs::exists(fs::symlink_status(path)); }

    // The names in a folder, as the shell's "echo" lists them.
    static std::string Names(const std::string& folder) {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder))
            names.insert(entry.path().filename());
        return JoinStrings(names, " ");
    }

    const std::string m_from = Path("/from");
    std::string m_to = Path("/to");
};

class FileMove : public FileTree, public testing::WithParamInterface<Target> {
protected:
    FileMove() {
        if (GetParam() == Target::kOtherFileSystem) {
            std::string other = "/dev/shm/vgtest.XXXXXX";
            m_to = mkdtemp(other.data()) ? other : "";
        }
    }
    ~FileMove() override { fs::remove_all(m_to); }

    void SetUp() override {
        if (GetParam() == Target::kOtherFileSystem && DeviceOf(m_to) == DeviceOf(m_from))
            GTEST_SKIP() << "/dev/shm is no file system of its own here";
    }

    static dev_t DeviceOf(const std::string& path) {
        struct stat status {};
        return stat(path.c_str(), &status) == 0 ? status.st_dev : 0;
    }

    static void Own(const std::string& path, mode_t mode, uid_t user, gid_t group) {
        ASSERT_EQ(0, lchown(path.c_str(), user, group)) << path;
        if (!fs::is_symlink(path)) {
            ASSERT_EQ(0, chmod(path.c_str(), mode)) << path;
        }
    }

    // Sets the time last: what is done inside a folder changes it.
    static void Date(const std::string& path, time_t seconds) {
        const std::array<timespec, 2> times = {timespec{seconds, 0}, timespec{seconds, 123456789}};
        ASSERT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW)) << path;
    }

    // A folder of everything that moves; beside the package, a file that its link points to.
    void MakeData(const std::string& data) {
        WriteFile(Path("/elsewhere"), "not mine");
        WriteFile(data + "/big", std::string(300'000, 'b') + "end");
        WriteFile(data + "/sub/empty", "");
        WriteFile(data + "/sub/n\xc3\xa4me with 'quotes'", "text");
        fs::create_symlink(Path("/elsewhere"), data + "/link");
        Own(data + "/big", 0640, 1001, 1002);
        Own(data + "/sub/empty", 04755, 0, 100);
        Own(data + "/sub", 01770, 1003, 1003);
        Own(data + "/link", 0, 1004, 1004);
        Own(data, 0711, 1005, 1006);
        // Where the file system has them.
        (void)setxattr((data + "/big").c_str(), "user.label", "kept", 4, 0);
        for (const char* entry : {"/big", "/sub/empty", "/link", "/sub", ""})
            Date(data + entry, 1'500'000'000 + static_cast<time_t>(std::strlen(entry)));
    }

    // All that a move keeps, by path.
    static std::map<std::string, std::string> Tree(const std::string& root) {
        std::map<std::string, std::string> entries;
        const auto add = [&](const fs::path& path) {
            struct stat status {};
            ASSERT_EQ(0, lstat(path.c_str(), &status)) << path;
            std::string text = StringPrintf("%o %u:%u %ld.%ld ", status.st_mode, status.st_uid, status.st_gid,
                                            static_cast<long>(status.st_mtim.tv_sec), status.st_mtim.tv_nsec);
            std::array<char, 16> label{};
            if (lgetxattr(path.c_str(), "user.label", label.data(), label.size() - 1) > 0)
                text += label.data();
            text += S_ISLNK(status.st_mode) ? fs::read_symlink(path).native() : "";
            text += S_ISREG(status.st_mode) ? ReadFile(path) : "";
            entries[path.lexically_relative(root).native()] = text;
        };
        if (!Exists(root))
            return entries;
        add(root);
        for (const auto& entry : fs::recursive_directory_iterator(root))
            add(entry.path());
        return entries;
    }
};

INSTANTIATE_TEST_SUITE_P(, FileMove, testing::Values(Target::kSameFileSystem, Target::kOtherFileSystem),
                         [](const auto& test) {
                             return test.param == Target::kSameFileSystem ? "OneFileSystem"
                                                                          : "TwoFileSystems";
                         });

TEST_P(FileMove, KeepsContentOwnerModeTimesAndLinks) {
    MakeData(m_from + "/@data");
    const auto before = Tree(m_from + "/@data");

    EXPECT_EQ(0, VGFileMove(m_from + "/@data", m_to));
    EXPECT_EQ(before, Tree(m_to + "/@data"));
    EXPECT_EQ("", Names(m_from));
    EXPECT_EQ("@data", Names(m_to)) << "no temporary copy is left";
    EXPECT_EQ("not mine", ReadFile(Path("/elsewhere")));

    EXPECT_EQ(0, VGFileMove(m_from + "/@data", m_to)) << "nothing to move";
    EXPECT_EQ(0, VGFileMove(m_to + "/@data", m_to)) << "is there already";
    EXPECT_EQ(before, Tree(m_to + "/@data"));
    EXPECT_EQ("", Log());
}

TEST_P(FileMove, MergesFoldersAndReplacesNothing) {
    WriteFile(m_from + "/d/moves", "1");
    WriteFile(m_from + "/d/sub/moves", "2");
    WriteFile(m_from + "/d/differs", "old");
    WriteFile(m_from + "/d/sub/same", "same");
    WriteFile(m_from + "/d/file or folder", "file");
    WriteFile(m_from + "/d/link or folder/x", "x");
    WriteFile(m_to + "/d/differs", "new");
    WriteFile(m_to + "/d/sub/same", "same");
    WriteFile(m_to + "/d/sub/own", "own");
    WriteFile(m_to + "/d/file or folder/y", "y");
    WriteFile(Path("/elsewhere/y"), "y");
    fs::create_symlink(Path("/elsewhere"), m_to + "/d/link or folder");
    Own(m_to + "/d", 0700, 1001, 1001);

    EXPECT_EQ(-1, VGFileMove(m_from + "/d", m_to));
    EXPECT_EQ("differs file or folder link or folder", Names(m_from + "/d")) << "what could not move stays";
    EXPECT_EQ("old", ReadFile(m_from + "/d/differs"));
    EXPECT_EQ("x", ReadFile(m_from + "/d/link or folder/x"));
    EXPECT_EQ("differs file or folder link or folder moves sub", Names(m_to + "/d"));
    EXPECT_EQ("moves own same", Names(m_to + "/d/sub"));
    EXPECT_EQ("new", ReadFile(m_to + "/d/differs"));
    EXPECT_EQ("2", ReadFile(m_to + "/d/sub/moves"));
    EXPECT_EQ("y", Names(Path("/elsewhere"))) << "a link at the destination is not followed";
    EXPECT_EQ(1001u, [&] {
        struct stat status {};
        return stat((m_to + "/d").c_str(), &status) == 0 ? status.st_uid : 0;
    }()) << "a folder that stands there keeps its owner";
    EXPECT_EQ(1, CountInLog("Failed to move " + m_from + "/d/differs to " + m_to + "/d/differs"));
    EXPECT_EQ(3, CountInLog("Failed to move"));
}

TEST_P(FileMove, LeavesASourceWhoseDestinationFolderIsMissing) {
    WriteFile(m_from + "/file", "1");
    EXPECT_EQ(-1, VGFileMove(m_from + "/file", m_to + "/missing"));
    EXPECT_EQ("1", ReadFile(m_from + "/file"));
    EXPECT_EQ(1, CountInLog("Failed to move"));
    EXPECT_EQ(0, VGFileMove(m_from + "/none", m_to + "/missing")) << "nothing to move, nothing to say";
    EXPECT_EQ(1, CountInLog("Failed to move"));
}

TEST_P(FileMove, LeavesWhatHasNoCopyOnAnotherFileSystem) {
    WriteFile(m_from + "/d/file", "1");
    ASSERT_EQ(0, mkfifo((m_from + "/d/fifo").c_str(), 0600));
    if (GetParam() == Target::kSameFileSystem) {
        EXPECT_EQ(0, VGFileMove(m_from + "/d", m_to));
        EXPECT_EQ("fifo file", Names(m_to + "/d"));
        return;
    }
    for (int run = 1; run <= 2; ++run) {
        EXPECT_EQ(-1, VGFileMove(m_from + "/d", m_to));
        EXPECT_EQ("fifo", Names(m_from + "/d"));
        EXPECT_EQ("file", Names(m_to + "/d"));
        EXPECT_EQ(run, CountInLog("/d/fifo. [Neither a file, a folder nor a link]"));
    }
}

// The change that the process, stopped, is about to ask the system for; "" when it asks for none.
std::string ChangeBefore(pid_t process) {
    __ptrace_syscall_info info{};
    ptrace(PTRACE_GET_SYSCALL_INFO, process, sizeof info, &info);
    static const std::map<uint64_t, std::string> changes = {
        {SYS_openat, "create"},     {SYS_write, "write"},     {SYS_copy_file_range, "write"},
        {SYS_sendfile, "write"},    {SYS_fsync, "flush"},     {SYS_renameat2, "rename"},
        {SYS_linkat, "link"},       {SYS_unlinkat, "remove"}, {SYS_mkdirat, "mkdir"},
        {SYS_symlinkat, "symlink"}, {SYS_fchown, "own"},      {SYS_fchmod, "own"},
        {SYS_fsetxattr, "label"},   {SYS_utimensat, "date"}};
    if (info.op != PTRACE_SYSCALL_INFO_ENTRY || !changes.contains(info.entry.nr) ||
        (info.entry.nr == SYS_openat && (info.entry.args[2] & O_CREAT) == 0))
        return "";
    return changes.at(info.entry.nr);
}

// Runs the work in a process whose changes are told to the listener; where that says no, the process is killed
// before the change. False when it ended by itself.
bool Trace(const std::function<void()>& work, const std::function<bool(const std::string&)>& listener) {
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    while (WIFSTOPPED(status)) {
        if (const std::string change = ChangeBefore(child); !change.empty() && !listener(change)) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return true;
        }
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
    }
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    return false;
}

// What a power cut may not turn round: the copy's content, its name, and both once more for a copy that an earlier run
// has left, before the original goes.
TEST_P(FileMove, FlushesACopyBeforeItsNameAndItsNameBeforeTheOriginalGoes) {
    if (GetParam() == Target::kSameFileSystem)
        return;  // nothing is copied
    WriteFile(m_from + "/file", "content");
    std::string calls;
    Trace([&] { (void)VGFileMove(m_from + "/file", m_to); },
          [&](const std::string& change) {
              if (change != "own" && change != "date" && change != "label")
                  calls += change + ' ';
              return true;
          });
    EXPECT_EQ("rename create write flush rename flush flush flush remove ", calls);
}

TEST_P(FileMove, LosesNothingWhenKilledAndIsFinishedByTheNextRun) {
    int kills = 0;
    for (bool killed = true; killed; ++kills) {
        fs::remove_all(m_from + "/@data");
        fs::remove_all(m_to + "/@data");
        MakeData(m_from + "/@data");
        const auto before = Tree(m_from + "/@data");

        killed = Trace([&] { (void)VGFileMove(m_from + "/@data", m_to); },
                       [left = kills](const std::string&) mutable { return left-- > 0; });
        auto left = Tree(m_from + "/@data");
        left.merge(Tree(m_to + "/@data"));
        for (const auto& [path, entry] : before) {
            if (entry.starts_with("4"))  // folders, whose times change while they empty
                EXPECT_TRUE(left.contains(path)) << path << ", killed at " << kills;
            else
                EXPECT_EQ(entry, left[path]) << path << ", killed at " << kills;
        }

        ASSERT_EQ(0, VGFileMove(m_from + "/@data", m_to)) << "killed at " << kills << "\n" << Log();
        ASSERT_EQ(before, Tree(m_to + "/@data")) << "killed at " << kills;
        ASSERT_EQ("@data", Names(m_to)) << "killed at " << kills;
        ASSERT_EQ("", Names(m_from)) << "killed at " << kills;
    }
    EXPECT_GT(kills, GetParam() == Target::kSameFileSystem ? 1 : 40) << "the tracing works";
}

TEST_F(FileTree, RenamesByLinkWhereTheFileSystemKnowsNoOtherWay) {
    WriteFile(m_from + "/file", "1");
    WriteFile(m_from + "/taken", "old");
    WriteFile(m_to + "/taken", "new");
    WriteFile(m_from + "/folder/x", "x");
    WriteFile(m_to + "/full/y", "y");
    fs::create_symlink("file", m_from + "/link");
    const Folder from = Folder::Open(m_from);
    const Folder to = Folder::Open(m_to);
    EXPECT_TRUE(RenameEntryByLink(from, "file", to, "file"));
    EXPECT_TRUE(RenameEntryByLink(from, "link", to, "link"));
    EXPECT_FALSE(RenameEntryByLink(from, "taken", to, "taken"));
    EXPECT_FALSE(RenameEntryByLink(from, "folder", to, "full"));
    EXPECT_TRUE(RenameEntryByLink(from, "folder", to, "folder"));
    EXPECT_EQ("taken", Names(m_from));
    EXPECT_EQ("file folder full link taken", Names(m_to));
    EXPECT_EQ("new", ReadFile(m_to + "/taken"));
    EXPECT_TRUE(fs::is_symlink(m_to + "/link"));
}

}  // namespace
