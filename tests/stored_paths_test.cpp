// Rows whose files and folders are named by databases.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace fs = std::filesystem;

namespace {

class StoredPaths : public SystemTree {
protected:
    static bool Exists(const std::string& path) { return fs::exists(fs::symlink_status(Path(path))); }

    static void Link(const std::string& target, const std::string& path) {
        fs::create_directories(fs::path(Path(path)).parent_path());
        fs::create_symlink(target, Path(path));
    }
};

TEST_F(StoredPaths, OfCapabilityFilesFollowTheFilesOutOfTheShare) {
    EXPECT_EQ(0, migrations::MoveCapInfoPath()) << "no table";
    constexpr const char* kShare = "/var/services/vigilo/";
    constexpr const char* kTarget = "/var/packages/Vigilo/target/";
    const struct {
        const char* what;
        std::string path;
        std::string expected;
    } cases[] = {
        {"moved to the target folder", kShare + std::string("cap/a"), kTarget + std::string("cap/a")},
        {"moved with the data", kShare + std::string("cap/b's"), kTarget + std::string("@vigilo/cap/b's")},
        {"in both", kShare + std::string("cap/both"), kTarget + std::string("cap/both")},
        {"still there", kShare + std::string("cap/still"), kShare + std::string("cap/still")},
        {"nowhere", kShare + std::string("cap/gone"), kShare + std::string("cap/gone")},
        {"a link", kShare + std::string("cap/link"), kShare + std::string("cap/link")},
        {"round about", kShare + std::string("cap/../cap/a"), kShare + std::string("cap/../cap/a")},
        {"another folder", "/var/services/vigilo2/cap/a", "/var/services/vigilo2/cap/a"},
        {"not absolute", "cap/a", "cap/a"},
        {"empty", "", ""},
    };
    for (const char* name : {"cap/a", "@vigilo/cap/b's", "cap/both", "@vigilo/cap/both", "cap/still"})
        WriteFile(Path(kTarget) + name, name);
    WriteFile(Path(kShare) + "cap/still", "still");
    Link("a", kTarget + std::string("cap/link"));
    Sql(DB_SYSTEM,
        "CREATE TABLE camera(id INTEGER PRIMARY KEY, cap_file_path TEXT); INSERT INTO camera(id) VALUES(99);");
    std::string expected;
    for (const auto& [what, path, newPath] : cases) {
        Sql(DB_SYSTEM, "INSERT INTO camera(id, cap_file_path) VALUES((SELECT count(*) FROM camera), " +
                           VGDB::QuoteEscape(path) + ");");
        expected += newPath + "\n";
    }
    EXPECT_EQ(0, migrations::MoveCapInfoPath());
    EXPECT_EQ(expected + "\n", Rows(DB_SYSTEM, "SELECT cap_file_path FROM camera ORDER BY id"));
    const std::string after = ReadFile(VGDB::GetDBPath(DB_SYSTEM));
    EXPECT_EQ(0, migrations::MoveCapInfoPath());
    EXPECT_TRUE(after == ReadFile(VGDB::GetDBPath(DB_SYSTEM)));
    EXPECT_EQ("", Log());

    Link("loop", kShare + std::string("loop"));
    Sql(DB_SYSTEM, "INSERT INTO camera VALUES(100, '/var/services/vigilo/loop/c');");
    EXPECT_EQ(-1, migrations::MoveCapInfoPath()) << "what cannot be looked up is not gone";
    EXPECT_EQ(1, CountInLog(
                     "(MoveCapInfoPath): Failed to look up the capability file /var/services/vigilo/loop/c"));
}

TEST_F(StoredPaths, OfArchivedRecordingsFollowTheirFolder) {
    EXPECT_EQ(0, migrations::RenameArchiveFolder()) << "no database";
    const struct {
        const char* what;
        const char* path;
        const char* expected;
    } cases[] = {
        {"a recording", "/volume1/a/@archive/cam's/1.mp4", "/volume1/a/@ArchiveVault/cam's/1.mp4"},
        {"another in the folder", "/volume1/a/@archive/2.mp4", "/volume1/a/@ArchiveVault/2.mp4"},
        {"a folder of that name in it", "/volume1/a/@archive/@archive/3.mp4",
         "/volume1/a/@ArchiveVault/@archive/3.mp4"},
        {"no such file", "/volume1/a/@archive/gone.mp4", "/volume1/a/@archive/gone.mp4"},
        {"no such volume", "/volume9/@archive/1.mp4", "/volume9/@archive/1.mp4"},
        {"moved by a run that was cut short", "/volume2/@archive/1.mp4", "/volume2/@ArchiveVault/1.mp4"},
        {"moved already", "/volume3/@archive/same.mp4", "/volume3/@ArchiveVault/same.mp4"},
        {"in the way", "/volume3/@archive/other.mp4", "/volume3/@archive/other.mp4"},
        {"below a link", "/volume4/@archive/1.mp4", "/volume4/@archive/1.mp4"},
        {"another name", "/volume5/@archives/1.mp4", "/volume5/@archives/1.mp4"},
        {"a file of that beginning", "/volume5/x/my@archive", "/volume5/x/my@archive"},
        {"not absolute", "volume6/@archive/1.mp4", "volume6/@archive/1.mp4"},
        {"round about", "/volume6/x/../@archive/1.mp4", "/volume6/x/../@archive/1.mp4"},
    };
    for (const char* path :
         {"/volume1/a/@archive/cam's/1.mp4", "/volume1/a/@archive/2.mp4",
          "/volume1/a/@archive/@archive/3.mp4", "/volume2/@ArchiveVault/1.mp4", "/volume4/real/1.mp4",
          "/volume5/@archives/1.mp4", "/volume5/x/my@archive", "/volume6/@archive/1.mp4", "/volume6/x/1.mp4"})
        WriteFile(Path(path), "recording");
    for (const char* folder : {"/volume3/@archive/", "/volume3/@ArchiveVault/"}) {
        WriteFile(Path(folder) + "same.mp4", "recording");
        WriteFile(Path(folder) + "other.mp4", folder);
    }
    Link("real", "/volume4/@archive");
    CreateFromSchema(DB_ARCHIVE);
    Sql(DB_ARCHIVE, "INSERT INTO archive_recording(id, recording_path) VALUES(99, NULL);");
    std::string expected;
    for (const auto& [what, path, newPath] : cases) {
        Sql(DB_ARCHIVE,
            "INSERT INTO archive_recording(id, recording_path) VALUES((SELECT count(*) FROM archive_recording), " +
                VGDB::QuoteEscape(path) + ");");
        expected += std::string(newPath) + "\n";
    }
    std::string after;
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(-1, migrations::RenameArchiveFolder()) << "one recording is in the way";
        EXPECT_EQ(expected + "\n",
                  Rows(DB_ARCHIVE, "SELECT recording_path FROM archive_recording ORDER BY id"));
        for (const auto& [what, path, newPath] : cases)
            EXPECT_TRUE(path != std::string(newPath) ? Exists(newPath) && !Exists(path) : true) << what;
        EXPECT_TRUE(run == 0 || after == ReadFile(VGDB::GetDBPath(DB_ARCHIVE)));
        after = ReadFile(VGDB::GetDBPath(DB_ARCHIVE));
    }
    EXPECT_EQ("/volume3/@archive/", ReadFile(Path("/volume3/@archive/other.mp4")));
    EXPECT_EQ("/volume3/@ArchiveVault/", ReadFile(Path("/volume3/@ArchiveVault/other.mp4")));
    EXPECT_EQ("recording", ReadFile(Path("/volume6/@archive/1.mp4")));
    EXPECT_TRUE(fs::is_symlink(Path("/volume4/@archive")));
    EXPECT_EQ(2, CountInLog("(RenameArchiveFolder): Failed to rename /volume3/@archive to @ArchiveVault"));
}

// The rows are written before the upgrade takes effect: a run after a kill finds them changed.
TEST_F(StoredPaths, WhatStaysInAnArchiveIsReportedAgainWhenTheRowsHaveFollowed) {
    for (const char* folder : {"/volume1/@archive/", "/volume1/@ArchiveVault/"})
        WriteFile(Path(folder) + "thumbnail", folder);
    WriteFile(Path("/volume1/@archive/1.mp4"), "recording");
    CreateFromSchema(DB_ARCHIVE);
    Sql(DB_ARCHIVE,
        "INSERT INTO archive_recording(id, recording_path) VALUES(1, '/volume1/@archive/1.mp4');");
    for (int run = 1; run <= 2; ++run) {
        EXPECT_EQ(-1, migrations::RenameArchiveFolder());
        EXPECT_EQ("/volume1/@ArchiveVault/1.mp4\n",
                  Rows(DB_ARCHIVE, "SELECT recording_path FROM archive_recording"));
        EXPECT_EQ(run,
                  CountInLog("(RenameArchiveFolder): Failed to rename /volume1/@archive to @ArchiveVault"));
    }
    fs::remove(Path("/volume1/@archive/thumbnail"));
    EXPECT_EQ(0, migrations::RenameArchiveFolder());
    EXPECT_FALSE(Exists("/volume1/@archive"));
}

TEST_F(StoredPaths, OfEventsThatWereBeingWrittenGoWithTheirFiles) {
    if (geteuid() != 0)
        GTEST_SKIP() << "needs files of several users";
    EXPECT_EQ(0, migrations::ResetWritingEvtPath()) << "no table";
    const struct {
        const char* what;
        const char* path;
        uid_t user;
        bool isRemoved;
        bool isReset;
    } cases[] = {
        {"of the package's user", "/volume1/evt/1", 123, true, true},
        {"of the owner of the database", "/volume1/evt/2", 456, true, true},
        {"of somebody else", "/volume1/evt/3", 9, false, true},
        {"a link", "/volume1/evt/link", 0, false, true},
        {"a folder", "/volume1/folder", 0, false, true},
        {"round about", "/volume1/evt/../evt/kept", 0, false, true},
        {"not absolute", "volume1/evt/kept", 0, false, true},
        {"cannot be looked up", "/volume1/loop/1", 0, false, false},
    };
    Sql(DB_SYSTEM,
        "CREATE TABLE camera(id INTEGER PRIMARY KEY, writingEvtPath TEXT, event_written_byte INTEGER, name TEXT);"
        "INSERT INTO camera VALUES(98, '/volume1/evt/gone', 7, 'gone'), (99, NULL, 7, 'none'),"
        "(100, '/volume1/evt/kept', 0, 'not being written'), (101, '/volume1/evt/kept', NULL, NULL);");
    ASSERT_EQ(0, chown(Path("/var/packages/Vigilo/target").c_str(), 123, 123));
    ASSERT_EQ(0, chown(VGDB::GetDBPath(DB_SYSTEM).c_str(), 456, 456));
    for (const char* name : {"evt/1", "evt/2", "evt/3", "evt/kept", "folder/kept"})
        WriteFile(Path("/volume1/") + name, name);
    Link("kept", "/volume1/evt/link");
    Link("loop", "/volume1/loop");
    for (const auto& [what, path, user, isRemoved, isReset] : cases) {
        ASSERT_TRUE(user == 0 || chown(Path(path).c_str(), user, user) == 0) << what;
        Sql(DB_SYSTEM, "INSERT INTO camera VALUES((SELECT count(*) FROM camera), " + VGDB::QuoteEscape(path) +
                           ", 7, 'n');");
    }
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(-1, migrations::ResetWritingEvtPath());
        EXPECT_EQ(
            "/volume1/loop/1|7\n",
            Rows(DB_SYSTEM,
                 "SELECT writingEvtPath, event_written_byte FROM camera WHERE event_written_byte <> 0"));
        for (const auto& [what, path, user, isRemoved, isReset] : cases) {
            EXPECT_EQ(isReset ? "0\n" : "1\n",
                      Rows(DB_SYSTEM,
                           "SELECT count(*) FROM camera WHERE writingEvtPath = " + VGDB::QuoteEscape(path)))
                << what;
            EXPECT_TRUE(!isRemoved || !Exists(path)) << what;
        }
    }
    for (const char* name : {"evt/3", "evt/kept", "folder/kept"})
        EXPECT_EQ(name, ReadFile(Path("/volume1/") + name));
    EXPECT_TRUE(fs::is_symlink(Path("/volume1/evt/link")));
    EXPECT_EQ("|0|gone\n|0|none\n/volume1/evt/kept|0|not being written\n/volume1/evt/kept||\n",
              Rows(DB_SYSTEM, "SELECT writingEvtPath, event_written_byte, name FROM camera WHERE id >= 98"));
    EXPECT_EQ(2, CountInLog("(ResetWritingEvtPath): Failed to remove /volume1/loop/1"));
}

// A guard that cannot be answered is no answer.
TEST_F(StoredPaths, AreNotTakenForNoneWhereADatabaseCannotBeRead) {
    WriteFile(VGDB::GetDBPath(DB_SYSTEM), std::string(4096, 'x'));
    WriteFile(VGDB::GetDBPath(DB_ARCHIVE), std::string(4096, 'x'));
    EXPECT_EQ(-1, migrations::MoveCapInfoPath());
    EXPECT_EQ(-1, migrations::RenameArchiveFolder());
    EXPECT_EQ(-1, migrations::ResetWritingEvtPath());
    EXPECT_EQ(-1, migrations::TouchAllowMotionDetectionFlag());
    for (const char* row :
         {"MoveCapInfoPath", "RenameArchiveFolder", "ResetWritingEvtPath", "TouchAllowMotionDetectionFlag"})
        EXPECT_EQ(1, CountInLog("(" + std::string(row) + "): Failed to look up table ")) << row;
}

TEST_F(StoredPaths, TheFlagOfMotionDetectionIsCreatedWhereNothingStands) {
    const std::string folder = Path("/var/packages/Vigilo/target/@VGData");
    const std::string flag = folder + "/dva_md_allow";
    const auto create = [] { return migrations::TouchAllowMotionDetectionFlag(); };
    EXPECT_EQ(0, create()) << "no table";
    Sql(DB_SYSTEM, "CREATE TABLE iva_setting(id INTEGER PRIMARY KEY);");
    EXPECT_EQ(0, create()) << "no task";
    EXPECT_FALSE(fs::exists(flag));
    Sql(DB_SYSTEM, "INSERT INTO iva_setting VALUES(1);");
    EXPECT_EQ(0, create());
    struct stat status {};
    ASSERT_EQ(0, lstat(flag.c_str(), &status));
    EXPECT_EQ(mode_t{S_IFREG | 0644}, status.st_mode);
    EXPECT_EQ(0, status.st_size);
    WriteFile(flag, "stays");
    EXPECT_EQ(0, create());
    EXPECT_EQ("stays", ReadFile(flag));
    fs::remove(flag);
    fs::create_symlink("nowhere", flag);
    EXPECT_EQ(0, create());
    EXPECT_FALSE(fs::exists(folder + "/nowhere"));
    fs::remove_all(folder);
    EXPECT_EQ(0, create()) << "no folder";
    EXPECT_FALSE(fs::exists(folder));
    EXPECT_EQ("", Log());
}

}  // namespace
