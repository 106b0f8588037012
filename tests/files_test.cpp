// Creation, owners and mount points in the file library.
#include "platform/files/files.h"

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

#include "platform/base/strings.h"
#include "platform/files/change_owner.h"
#include "platform/files/file_replacement.h"
#include "tests/support/system_tree.h"

namespace fs = std::filesystem;

namespace {

constexpr Owner kOwner = {.user = 123, .group = 456};

class Files : public SystemTree {
protected:
    // "USER:GROUP MODE" of an entry, links not followed.
    static std::string Entry(std::string_view path) {
        struct stat status {};
        if (lstat(Path(path).c_str(), &status) != 0)
            return "(none)";
        return StringPrintf("%u:%u %o", status.st_uid, status.st_gid, status.st_mode & 07777);
    }

    // Does the work where `path` is mounted on itself: a mount point of the same file system. False where the
    // process may not mount.
    static bool WithMount(const std::string& path, const std::function<void()>& work) {
        const pid_t child = fork();
        if (child == 0) {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount(path.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0)
                _exit(1);
            work();
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return status == 0;
    }
};

TEST_F(Files, AreCreatedWhereNothingStands) {
    const mode_t mask = umask(0077);
    EXPECT_EQ(0, VGFileCreate(Path("/var/new"), 0664));
    umask(mask);
    EXPECT_EQ(StringPrintf("%u:%u 664", geteuid(), getegid()), Entry("/var/new"));
    WriteFile(Path("/var/old"), "content");
    fs::create_symlink("target", Path("/var/link"));
    EXPECT_EQ(0, VGFileCreate(Path("/var/old"), 0600));
    EXPECT_EQ("content", ReadFile(Path("/var/old")));
    EXPECT_EQ(0, VGFileCreate(Path("/var/link"), 0600));
    EXPECT_FALSE(fs::exists(Path("/var/target")));
    EXPECT_EQ("", Log());
    EXPECT_EQ(-1, VGFileCreate(Path("/none/new"), 0600));
    EXPECT_EQ(1, CountInLog("Failed to create " + Path("/none/new") + ". [No such file or directory]"));
}

TEST_F(Files, AreReplacedAsAWhole) {
    EXPECT_EQ(0, ReplaceFile(Path("/var/new"), "first", 0640));
    ASSERT_EQ(0, chmod(Path("/var/new").c_str(), 0604));
    EXPECT_EQ(0, ReplaceFile(Path("/var/new"), "2", 0640));
    EXPECT_EQ("2", ReadFile(Path("/var/new")));
    EXPECT_EQ(StringPrintf("%u:%u 604", geteuid(), getegid()), Entry("/var/new"));
    fs::create_symlink("new", Path("/var/link"));
    EXPECT_EQ(-1, ReplaceFile(Path("/var/link"), "3", 0640));
    EXPECT_EQ("2", ReadFile(Path("/var/new")));
}

TEST_F(Files, ChangeOwnersOfWhatRootOwns) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root";
    WriteFile(Path("/data/set-id"), "x");
    WriteFile(Path("/data/sub/file"), "x");
    WriteFile(Path("/data/others"), "x");
    WriteFile(Path("/data/two names"), "x");
    WriteFile(Path("/precious"), "x");
    ASSERT_EQ(0, chmod(Path("/data/set-id").c_str(), 06755));
    ASSERT_EQ(0, chmod(Path("/data/sub").c_str(), 02770));
    ASSERT_EQ(0, chown(Path("/data/others").c_str(), 9, 9));
    fs::create_hard_link(Path("/data/two names"), Path("/second name"));
    fs::create_symlink(Path("/precious"), Path("/data/link"));
    ASSERT_EQ(0, mkfifo(Path("/data/fifo").c_str(), 0600));

    EXPECT_EQ(0, VGFileChown(Path("/data/link"), kOwner));
    EXPECT_EQ(0, VGFileChown(Path("/none"), kOwner));
    EXPECT_EQ(0, VGFileChown(Path("/data"), kOwner));
    EXPECT_EQ("123:456 755", Entry("/data"));
    EXPECT_EQ("0:0 6755", Entry("/data/set-id")) << "only the folder itself";

    EXPECT_EQ(0, VGTreeChown(Path("/data"), kOwner));
    EXPECT_EQ("123:456 6755", Entry("/data/set-id"));
    EXPECT_EQ("123:456 2770", Entry("/data/sub"));
    EXPECT_EQ("123:456 644", Entry("/data/sub/file"));
    EXPECT_EQ("9:9 644", Entry("/data/others"));
    EXPECT_EQ("0:0 644", Entry("/data/two names"));
    EXPECT_EQ("0:0 777", Entry("/data/link"));
    EXPECT_EQ("0:0 600", Entry("/data/fifo"));
    EXPECT_EQ("0:0 644", Entry("/precious"));
    EXPECT_EQ("", Log());
}

TEST_F(Files, StayBehindAMountPointOfTheSameFileSystem) {
    WriteFile(Path("/data/sub/mounted/precious"), "x");
    WriteFile(Path("/data/sub/file"), "x");
    const bool mounted = WithMount(Path("/data/sub/mounted"), [] {
        EXPECT_EQ(0, VGTreeChown(Path("/data"), kOwner));
        EXPECT_EQ("0:0 644", Entry("/data/sub/mounted/precious"));
        EXPECT_EQ("0:0 755", Entry("/data/sub/mounted"));
        EXPECT_EQ("123:456 644", Entry("/data/sub/file"));
        EXPECT_EQ(-1, VGFolderRemove(Path("/data")));
        if (HasFailure())
            _exit(2);
    });
    if (!mounted && Entry("/data/sub/file") == "0:0 644")
        GTEST_SKIP() << "this process may not mount";
    EXPECT_TRUE(mounted);
    EXPECT_EQ("x", ReadFile(Path("/data/sub/mounted/precious")));
    EXPECT_EQ("(none)", Entry("/data/sub/file"));
    EXPECT_EQ(1, CountInLog("Failed to remove " + Path("/data/sub/mounted") + ". [Device or resource busy]"));
}

}  // namespace
