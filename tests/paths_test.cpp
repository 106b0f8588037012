// One law of paths: symbolic links lead where they would on a system whose root is the prefix.
#include "platform/base/paths.h"

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>

#include "platform/base/package_user.h"
#include "platform/base/sdk_user.h"
#include "platform/settings/settings.h"
#include "tests/support/system_tree.h"

namespace fs = std::filesystem;

namespace {

class Paths : public SystemTree {
protected:
    static void Link(const std::string& target, std::string_view path) {
        fs::create_directories(fs::path(Path(path)).parent_path());
        fs::create_symlink(target, Path(path));
    }

    // Every path of the tree but the log's and the history's.
    static std::set<std::string> Names() {
        std::set<std::string> names;
        for (const auto& entry : fs::recursive_directory_iterator(Path("")))
            if (entry.path() != Path(kPackageLog) && entry.path() != Path(kHistory) &&
                entry.path() != Path("/var/log/vigilo"))
                names.insert(entry.path());
        return names;
    }

    static std::string PasswdName(unsigned uid) {
        ORVAUSER* user = nullptr;
        const std::string name = SDKUser::UserGetByUID(uid, user) == 1 ? user->name : "(none)";
        SDKUser::UserFree(user);
        return name;
    }
};

TEST_F(Paths, FollowLinksAsASystemWithThePrefixAsRoot) {
    fs::create_directories(Path("/volume1/vigilo/sub"));
    Link("/volume1/vigilo", "/links/absolute");
    Link("../../volume1/./vigilo/", "/links/deep/relative");
    Link("../../../../../../volume1", "/links/above");
    Link("/links/absolute/../vigilo/sub/../sub", "/links/chain");
    Link("/volume9/x", "/links/dangling");
    const struct {
        const char* path;
        const char* resolved;
        const char* entry;
    } cases[] = {
        {"/links/absolute/x", "/volume1/vigilo/x", "/volume1/vigilo/x"},
        {"/links/absolute", "/volume1/vigilo", "/links/absolute"},
        {"/links/absolute/", "/volume1/vigilo/", "/volume1/vigilo/"},
        {"/links/deep/relative/sub/x", "/volume1/vigilo/sub/x", "/volume1/vigilo/sub/x"},
        {"/links/above/vigilo", "/volume1/vigilo", "/volume1/vigilo"},
        {"/links/above", "/volume1", "/links/above"},
        {"/links/chain", "/volume1/vigilo/sub", "/links/chain"},
        {"/links/dangling", "/volume9/x", "/links/dangling"},
        {"/links/dangling/y", "/volume9/x/y", "/volume9/x/y"},
        {"/no/such//folder", "/no/such/folder", "/no/such/folder"},
        {"/../../links/../volume1/x", "/volume1/x", "/volume1/x"},
    };
    for (const auto& [path, resolved, entry] : cases) {
        EXPECT_EQ(Path(resolved), ResolvePath(path)) << path;
        EXPECT_EQ(Path(entry), ResolveEntry(path)) << path;
    }
}

TEST_F(Paths, OfALoopCanNeitherBeOpenedNorCreatedNorLookMissing) {
    Link("loop", "/links/loop");
    Link("/links/b", "/links/a");
    Link("/links/a", "/links/b");
    fs::create_directories(Path("/links/real"));
    for (int i = 0; i < 50; ++i)
        Link(i == 0 ? "real" : "many" + std::to_string(i - 1), "/links/many" + std::to_string(i));
    for (const char* path : {"/links/loop", "/links/loop/x", "/links/a", "/links/b/x/y", "/links/many49/x"}) {
        const std::string real = ResolvePath(path);
        EXPECT_EQ(0u, real.find(Path(path))) << "a person recognises it";
        struct stat status {};
        EXPECT_EQ(-1, lstat(real.c_str(), &status)) << path;
        EXPECT_EQ(ENAMETOOLONG, errno) << path;
        std::ofstream file(real);
        EXPECT_FALSE(file.is_open()) << path;
        EXPECT_EQ(-1, lstat(fs::path(real).parent_path().c_str(), &status)) << path;
        EXPECT_EQ(ENAMETOOLONG, errno) << path << ": its folder";
    }
    EXPECT_EQ(Path("/links/real/x"), ResolvePath("/links/many30/x"));
}

// What a run for this very build changes: a table of two databases is missing, and the stamp is old.
class LinkedLevels : public Paths {
protected:
    LinkedLevels() {
        fs::remove_all(m_beside);
        fs::create_directories(m_beside);
        fs::create_directories(Path("/volume1"));
        CreateNewSystem();
        Sql(DB_SYSTEM, "DROP TABLE eventlabelsetting");
        Sql(DB_LOG, "DROP TABLE log");
        WriteSettings("vg_upgrader_version=\"old\"\n");
        fs::copy(Path(""), m_beside + "/template", fs::copy_options::recursive);
    }
    ~LinkedLevels() override { fs::remove_all(m_beside); }

    void StartAnew() const {
        for (const auto& entry : fs::directory_iterator(Path("")))
            fs::remove_all(entry.path());
        fs::copy(m_beside + "/template", Path(""), fs::copy_options::recursive);
    }

    static void ReplaceByLink(std::string_view path, const std::string& movedTo, const std::string& target) {
        fs::create_directories(fs::path(movedTo).parent_path());
        fs::rename(Path(path), movedTo);
        fs::create_symlink(target, Path(path));
    }

    // Every entry below a folder with its content and the time of its last change.
    static std::map<std::string, std::string> Traces(const std::string& root) {
        std::map<std::string, std::string> traces;
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            struct stat status {};
            lstat(entry.path().c_str(), &status);
            traces[entry.path()] = std::to_string(status.st_ctim.tv_sec) + "." +
                                   std::to_string(status.st_ctim.tv_nsec) +
                                   (S_ISREG(status.st_mode) ? ReadFile(entry.path()) : "");
        }
        return traces;
    }

    const std::string m_beside = Path("") + ".beside";
};

constexpr const char* kLevels[] = {
    "/var/log/vigilo",
    "/var/packages/Vigilo/target/system.db",
    "/var/packages/Vigilo/target/@vigilo",
    "/var/packages/Vigilo/target/schema",
    "/var/packages/Vigilo/target",
    "/var/packages/Vigilo/etc/settings.conf",
    "/var/packages/Vigilo/etc",
    "/var/packages/Vigilo",
};

TEST_F(LinkedLevels, LeadAnUpgradeToWhatIsBelowItsPrefix) {
    for (const bool absolute : {true, false}) {
        SCOPED_TRACE(absolute ? "absolute" : "relative");
        StartAnew();
        for (const std::string path :
             kLevels) {  // the deepest first: a relative one moves on, and ".." ends at the prefix
            const std::string place = "/volume1/" + fs::path(path).filename().string() + ".moved";
            const fs::path folder = ResolvePath(fs::path(path).parent_path().native());
            ReplaceByLink(path, Path(place),
                          absolute ? place : fs::path(Path(place)).lexically_relative(folder).native());
        }
        EXPECT_EQ(0, RunUpgrader("9760")) << Log();
        for (const std::string path : kLevels)
            EXPECT_NE(Path(path), ResolvePath(path)) << path << " is still a link";
        EXPECT_EQ("vg_upgrader_version=\"9.2.9-9760\"\n", ReadFile(Path("/volume1/settings.conf.moved")));
        EXPECT_EQ("1\n", Rows(DB_SYSTEM, "SELECT count(*) FROM eventlabelsetting"));
        EXPECT_EQ("0\n", Rows(DB_LOG, "SELECT count(*) FROM log"));
        EXPECT_TRUE(fs::exists(Path("/volume1/vigilo.moved/vgupgrader.log")));
    }
}

// A copy of a system whose links are absolute: what they name is there, and is the original's.
TEST_F(LinkedLevels, LeadNoUpgradeOutOfItsPrefix) {
    for (const std::string path : kLevels) {
        SCOPED_TRACE(path);
        StartAnew();
        const std::string original = m_beside + "/original";
        fs::remove_all(original);
        ReplaceByLink(path, original + "/x", original + "/x");
        const auto before = Traces(original);
        RunUpgrader("9760 2>/dev/null");
        EXPECT_EQ(before, Traces(original));
    }
}

TEST_F(Paths, ThatLoopCostAnUpgradeWhatTheyName) {
    for (const char* linked : {"/var/packages/Vigilo/etc/settings.conf", "/var/log/vigilo",
                               "/var/packages/Vigilo/target/system.db", "/var/packages/Vigilo/target"}) {
        SCOPED_TRACE(linked);
        for (const auto& entry : fs::directory_iterator(Path("")))
            fs::remove_all(entry.path());
        for (const char* folder :
             {"/var/packages/Vigilo/target/@vigilo", "/var/packages/Vigilo/etc", "/var/log"})
            fs::create_directories(Path(folder));
        CreateNewSystem();
        WriteSettings("a=1\n");
        fs::remove_all(Path(linked));
        Link(linked, linked);
        const auto before = Names();
        EXPECT_EQ(linked == std::string("/var/log/vigilo") ? 0 : 255, RunUpgrader("6500 2>/dev/null"));
        // A main database that leads nowhere cannot be noted in.
        fs::remove(Path(kUpgradeDue));
        EXPECT_EQ(before, Names()) << "nothing is made elsewhere";
    }
}

TEST_F(Paths, FindTheUsersOfTheTreeBehindLinks) {
    WriteFile(Path("/usr/passwd"), "first:x:7:7::/:/bin/sh\n");
    Link("/usr/passwd", "/etc/passwd");
    EXPECT_EQ("first", PasswdName(7));
    fs::remove(Path("/etc/passwd"));
    ASSERT_EQ(0, mkfifo(Path("/etc/passwd").c_str(), 0644));
    EXPECT_EQ("(none)", PasswdName(7));
}

TEST_F(Paths, FindTheUserOfThePackage) {
    Owner owner;
    EXPECT_EQ(0, FindPackageUser(owner)) << "root's";
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root";
    fs::rename(Path("/var/packages/Vigilo/target"), Path("/volume1"));
    Link("/volume1", "/var/packages/Vigilo/target");
    ASSERT_EQ(0, chown(Path("/volume1").c_str(), 123, 456));
    EXPECT_EQ(1, FindPackageUser(owner));
    EXPECT_EQ(123u, owner.user);
    EXPECT_EQ(456u, owner.group);
    fs::remove_all(Path("/volume1"));
    EXPECT_EQ(0, FindPackageUser(owner)) << "no target folder";
}

}  // namespace
