// Rows that move and remove files of the package.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kAddOns = "/var/packages/Vigilo/target/@VGData/AddOns/";
constexpr const char* kData = "/var/packages/Vigilo/target/@vigilo/";

class PackageFiles : public SystemTree {
protected:
    static bool Exists(const std::string& path) { return fs::exists(fs::symlink_status(Path(path))); }
};

TEST_F(PackageFiles, MovesTheFoldersOfTheShareBesideTheDatabases) {
    // The share is a link to its volume, which must not lead out of the prefix.
    WriteFile(Path("/volume1/vigilo/@VGDBBackup/2019/system.db"), "backup");
    WriteFile(Path("/volume1/vigilo/@CMS/slaves"), "slaves");
    WriteFile(Path("/volume1/vigilo/@CmsSyncData/1/data"), "data");
    WriteFile(Path("/volume1/vigilo/recordings/1.mp4"), "stays");
    fs::create_directories(Path("/var/services"));
    fs::create_symlink("/volume1/vigilo", Path("/var/services/vigilo"));
    WriteFile(Path(kData) + "@CMS/own", "own");

    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::MoveDBBackupFile());
        EXPECT_EQ(0, migrations::MoveCmsDataFolders());
        EXPECT_EQ("backup", ReadFile(Path(kData) + "@VGDBBackup/2019/system.db"));
        EXPECT_EQ("slaves", ReadFile(Path(kData) + "@CMS/slaves"));
        EXPECT_EQ("own", ReadFile(Path(kData) + "@CMS/own"));
        EXPECT_EQ("data", ReadFile(Path(kData) + "@CmsSyncData/1/data"));
        EXPECT_EQ("stays", ReadFile(Path("/volume1/vigilo/recordings/1.mp4")));
        EXPECT_FALSE(Exists("/volume1/vigilo/@CMS"));
        EXPECT_FALSE(Exists("/volume1/vigilo/@VGDBBackup"));
    }
    EXPECT_EQ("", Log());
}

TEST_F(PackageFiles, LeaveTheShareWhereItIsThePackagesOwnFolder) {
    WriteFile(Path(kData) + "@CMS/slaves", "slaves");
    fs::create_directories(Path("/var/services"));
    fs::create_symlink(kData, Path("/var/services/vigilo"));
    EXPECT_EQ(0, migrations::MoveCmsDataFolders());
    EXPECT_EQ("slaves", ReadFile(Path(kData) + "@CMS/slaves"));
    EXPECT_EQ("", Log());
}

TEST_F(PackageFiles, OneFolderThatCannotMoveDoesNotKeepTheOther) {
    WriteFile(Path("/var/services/vigilo/@CMS"), "a file of that name");
    WriteFile(Path(kData) + "@CMS/own", "own");
    WriteFile(Path("/var/services/vigilo/@CmsSyncData/data"), "data");
    EXPECT_EQ(-1, migrations::MoveCmsDataFolders());
    EXPECT_EQ("a file of that name", ReadFile(Path("/var/services/vigilo/@CMS")));
    EXPECT_EQ("data", ReadFile(Path(kData) + "@CmsSyncData/data"));
    EXPECT_EQ(1, CountInLog("(MoveCmsDataFolders): Failed to move @CMS from "));
}

TEST_F(PackageFiles, RemoveAddOnFoldersButNotWhatTheirLinksPointTo) {
    struct {
        int (*row)();
        std::string folder;
    } const cases[] = {
        {migrations::RemoveLocalDisplayAddOnDir, "LocalDisplay"},
        {migrations::RemoveVideoAnalyticsAddOnDir, "VideoAnalytics"},
    };
    WriteFile(Path(kAddOns) + "Other/info", "stays");
    WriteFile(Path("/home/precious"), "stays");
    for (const auto& [row, folder] : cases) {
        const std::string path = Path(kAddOns) + folder;
        WriteFile(path + "/deep/er/file", "x");
        fs::create_directory_symlink(Path("/home"), path + "/deep/home");
        EXPECT_EQ(0, row()) << folder;
        EXPECT_FALSE(Exists(kAddOns + folder));

        fs::create_directory_symlink(Path("/home"), path);
        EXPECT_EQ(0, row()) << folder << ": a link is no add-on folder";
        EXPECT_TRUE(Exists(kAddOns + folder));
    }
    EXPECT_EQ("stays", ReadFile(Path(kAddOns) + "Other/info"));
    EXPECT_EQ("stays", ReadFile(Path("/home/precious")));
    EXPECT_EQ("", Log());
}

TEST_F(PackageFiles, RemoveServiceFilesAndLinksButNotFolders) {
    struct {
        int (*row)();
        std::string path;
    } const cases[] = {
        {migrations::RemoveACAPServiceFile, kAddOns + std::string("AxisACAP")},
        {migrations::RemoveFailoverServiceFile, kAddOns + std::string("Failover")},
        {migrations::RemoveOldVGlogSendConf, "/etc/syslog-ng/patterndb.d/sendLog.conf"},
    };
    WriteFile(Path("/home/precious"), "stays");
    for (const auto& [row, path] : cases) {
        EXPECT_EQ(0, row()) << path << ": not even its folder is there";
        WriteFile(Path(path), "service");
        WriteFile(Path(path) + ".bak", "stays");
        EXPECT_EQ(0, row());
        EXPECT_FALSE(Exists(path));

        fs::create_symlink(Path("/home/precious"), Path(path));
        EXPECT_EQ(0, row());
        EXPECT_FALSE(Exists(path));

        WriteFile(Path(path) + "/inside", "stays");
        EXPECT_EQ(0, row());
        EXPECT_EQ("stays", ReadFile(Path(path) + "/inside"));
        EXPECT_EQ("stays", ReadFile(Path(path) + ".bak"));
    }
    EXPECT_EQ("stays", ReadFile(Path("/home/precious")));
    EXPECT_EQ("", Log());
}

TEST_F(PackageFiles, RemoveCompressedLogsOnly) {
    const std::string logs = Path("/var/log/vigilo/");
    for (const char* name : {"a.log.gz", ".gz", "b.1.gz", "gz", "c.gz.log", "d.GZ", "e.gzip"})
        WriteFile(logs + name, name);
    WriteFile(logs + "folder.gz/f.gz", "f");
    fs::create_symlink("gz", logs + "link.gz");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::RemoveGzLogFiles());
        std::set<std::string> left;
        for (const auto& entry : fs::directory_iterator(logs))
            left.insert(entry.path().filename());
        EXPECT_EQ((std::set<std::string>{"gz", "c.gz.log", "d.GZ", "e.gzip", "folder.gz", "link.gz"}), left);
    }
    EXPECT_EQ("f", ReadFile(logs + "folder.gz/f.gz"));
}

TEST_F(PackageFiles, RenameTheTransactionFoldersAndMergeThem) {
    EXPECT_EQ(0, migrations::RenameTransactionDirectory()) << "none";
    WriteFile(Path("/volume1/vigilo/@POS/1/old"), "old");
    WriteFile(Path("/volume1/vigilo/@POS/1/both"), "both");
    WriteFile(Path("/volume1/vigilo/@Transactions/1/both"), "both");
    WriteFile(Path("/volume1/vigilo/@Transactions/1/new"), "new");
    WriteFile(Path("/volume1/vigilo/@POS.bak/1"), "stays");
    WriteFile(Path(kData) + "@POS/2", "data");
    fs::create_directories(Path("/var/services"));
    fs::create_symlink("/volume1/vigilo", Path("/var/services/vigilo"));
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::RenameTransactionDirectory());
        for (const char* name : {"old", "both", "new"})
            EXPECT_EQ(name, ReadFile(Path("/volume1/vigilo/@Transactions/1/") + name));
        EXPECT_EQ("data", ReadFile(Path(kData) + "@Transactions/2"));
        EXPECT_EQ("stays", ReadFile(Path("/volume1/vigilo/@POS.bak/1")));
        EXPECT_FALSE(Exists("/volume1/vigilo/@POS"));
        EXPECT_FALSE(Exists(kData + std::string("@POS")));
    }
    EXPECT_EQ("", Log());

    WriteFile(Path("/volume1/vigilo/@POS/1/new"), "another");
    WriteFile(Path("/volume1/vigilo/@POS/1/newer"), "newer");
    fs::create_symlink("/volume1/vigilo/@POS", Path(kData) + "@POS");
    EXPECT_EQ(-1, migrations::RenameTransactionDirectory());
    EXPECT_EQ("another", ReadFile(Path("/volume1/vigilo/@POS/1/new")));
    EXPECT_EQ("new", ReadFile(Path("/volume1/vigilo/@Transactions/1/new")));
    EXPECT_EQ("newer", ReadFile(Path("/volume1/vigilo/@Transactions/1/newer")));
    EXPECT_TRUE(fs::is_symlink(Path(kData) + "@POS"));
    EXPECT_EQ(1, CountInLog("(RenameTransactionDirectory): Failed to rename @POS to @Transactions in "));
}

// What even root cannot remove, for as long as the object lives.
class Immutable {
public:
    explicit Immutable(const std::string& path) : m_fd(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        int flags = 0;
        m_set = ioctl(m_fd, FS_IOC_GETFLAGS, &flags) == 0 && Set(flags | FS_IMMUTABLE_FL);
    }
    Immutable(const Immutable&) = delete;
    Immutable& operator=(const Immutable&) = delete;
    ~Immutable() {
        if (m_set)
            Set(0);
        close(m_fd);
    }
    bool IsSet() const { return m_set; }

private:
    bool Set(int flags) const { return ioctl(m_fd, FS_IOC_SETFLAGS, &flags) == 0; }

    int m_fd;
    bool m_set = false;
};

TEST_F(PackageFiles, ThatCannotBeRemovedFailTheirRowUnderItsName) {
    const std::string logs = "/var/log/vigilo/";
    const struct {
        int (*row)();
        const char* name;
        std::string kept;
        std::string beside;
    } cases[] = {
        {migrations::RemoveGzLogFiles, "RemoveGzLogFiles", logs + "b.gz", logs + "a.gz"},
        {migrations::RemoveGzLogFiles, "RemoveGzLogFiles", logs + "b.gz", logs + "c.gz"},
        {migrations::RemoveLocalDisplayAddOnDir, "RemoveLocalDisplayAddOnDir",
         kAddOns + std::string("LocalDisplay/b"), kAddOns + std::string("LocalDisplay/a")},
        {migrations::RemoveVideoAnalyticsAddOnDir, "RemoveVideoAnalyticsAddOnDir",
         kAddOns + std::string("VideoAnalytics/b"), kAddOns + std::string("VideoAnalytics/c")},
        {migrations::RemoveACAPServiceFile, "RemoveACAPServiceFile", kAddOns + std::string("AxisACAP"), ""},
        {migrations::RemoveFailoverServiceFile, "RemoveFailoverServiceFile",
         kAddOns + std::string("Failover"), ""},
        {migrations::RemoveOldVGlogSendConf, "RemoveOldVGlogSendConf",
         "/etc/syslog-ng/patterndb.d/sendLog.conf", ""},
    };
    for (const auto& [row, name, kept, beside] : cases) {
        WriteFile(Path(kept), "kept");
        if (!beside.empty())
            WriteFile(Path(beside), "goes");
        const Immutable immutable(Path(kept));
        if (!immutable.IsSet())
            GTEST_SKIP() << "this file system knows no immutable files";
        const int before = CountInLog("(" + std::string(name) + "): Failed to remove ");
        EXPECT_EQ(-1, row()) << name;
        EXPECT_TRUE(Exists(kept)) << name;
        EXPECT_TRUE(beside.empty() || !Exists(beside)) << name;
        EXPECT_EQ(before + 1, CountInLog("(" + std::string(name) + "): Failed to remove ")) << name;
        EXPECT_NE(0, CountInLog("Failed to remove " + Path(kept) + ". [")) << name;
    }
}

}  // namespace
