// Rows that call the package's libraries, and the settled rows on archive tasks and logs.
#include <filesystem>
#include <string>

#include "platform/axisacs/axisacs.h"
#include "platform/recording/recording.h"
#include "platform/userlog/recount.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kAllRecordings = "SELECT * FROM recordingcnt ORDER BY ds_id, camera_id, day";

class Recounts : public SystemTree {
protected:
    static fs::file_time_type Changed(DB_INSTANCE db) { return fs::last_write_time(VGDB::GetDBPath(db)); }
};

TEST_F(Recounts, MakeTheCountsWhatTheRowsGive) {
    CreateFromSchema(DB_RECORDING);
    CreateFromSchema(DB_RECORDING_CNT);
    CreateFromSchema(DB_LOG);
    CreateFromSchema(DB_LOG_CNT);
    CreateFromSchema(DB_AXISACSEVTLOG);
    Sql(DB_RECORDING,
        "INSERT INTO recording(ds_id, camera_id, start_time) VALUES"
        "(0, 1, 0), (0, 1, 86399), (0, 1, 86400), (0, 2, 86400), (3, 1, 1600000000), (NULL, NULL, NULL),"
        "('1); DROP TABLE recordingcnt; --', 1, 0);");
    Sql(DB_RECORDING_CNT, "INSERT INTO recordingcnt VALUES(0, 1, 0, 99), (0, 1, 1, 1), (9, 9, 9, 9);");
    Sql(DB_LOG,
        "INSERT INTO log(log_type, ds_id, log_time) VALUES"
        "(5, 0, 86400), (5, 0, 86401), (5, 2, 86402), (6, 0, 0);");
    Sql(DB_AXISACSEVTLOG,
        "INSERT INTO axisacsevtlog(controller_id, timestamp) VALUES(1, 0), (1, 86400), (1, 90000);"
        "INSERT INTO axisacsevtlogcnt VALUES(2, 0, 1);");

    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::RecountRecordingAndLog());
        EXPECT_EQ(0, migrations::RecountVGLogAndAxisAcsLog());
        EXPECT_EQ("0|0|0|1\n0|1|0|2\n0|1|1|1\n0|2|1|1\n1|1|0|1\n3|1|18518|1\n",
                  Rows(DB_RECORDING_CNT, kAllRecordings));
        EXPECT_EQ("5|1|3\n6|0|1\n", Rows(DB_LOG_CNT, "SELECT * FROM logcnt ORDER BY log_type, day"));
        EXPECT_EQ("0|0|1\n0|1|2\n2|1|1\n", Rows(DB_LOG_CNT, "SELECT * FROM logeventcnt ORDER BY ds_id, day"));
        EXPECT_EQ("1|0|1\n1|1|2\n",
                  Rows(DB_AXISACSEVTLOG, "SELECT * FROM axisacsevtlogcnt ORDER BY controller_id, day"));
    }
    EXPECT_EQ("", Log());
}

TEST_F(Recounts, WriteNothingWhenTheCountsAreRight) {
    CreateFromSchema(DB_RECORDING);
    CreateFromSchema(DB_RECORDING_CNT);
    Sql(DB_RECORDING, "INSERT INTO recording(camera_id, start_time) VALUES(10, 0), (9, 0), (10, 950400);");
    Sql(DB_RECORDING_CNT,
        "INSERT INTO recordingcnt VALUES(0, 10, 11, 1), (0, 10, 0, 1), (0, 9, 0, 1);"
        "CREATE TRIGGER touched BEFORE DELETE ON recordingcnt BEGIN"
        " SELECT RAISE(ABORT, 'rewritten'); END;");
    const auto before = Changed(DB_RECORDING_CNT);
    EXPECT_EQ(0, RecordingCount::Recount());
    EXPECT_EQ(before, Changed(DB_RECORDING_CNT));

    Sql(DB_RECORDING, "DELETE FROM recording WHERE camera_id = 9;");
    EXPECT_EQ(-1, RecordingCount::Recount()) << "now it is due";
    EXPECT_EQ("0|9|0|1\n0|10|0|1\n0|10|11|1\n", Rows(DB_RECORDING_CNT, kAllRecordings));
}

TEST_F(Recounts, AreNoneWithoutTheirTables) {
    EXPECT_EQ(0, migrations::RecountRecordingAndLog()) << "no databases";
    CreateFromSchema(DB_RECORDING_CNT);
    Sql(DB_RECORDING_CNT, "INSERT INTO recordingcnt VALUES(0, 1, 0, 99);");
    Sql(DB_RECORDING, "CREATE TABLE recording(id INTEGER PRIMARY KEY, start_time INTEGER);");
    Sql(DB_AXISACSEVTLOG, "CREATE TABLE axisacsevtlog(controller_id INTEGER, timestamp INTEGER);");
    EXPECT_EQ(0, RecordingCount::Recount()) << "a column is missing";
    EXPECT_EQ(0, AxisAcsLog::Recount()) << "the count table is missing";
    EXPECT_EQ("0|1|0|99\n", Rows(DB_RECORDING_CNT, kAllRecordings));
    EXPECT_EQ("", Log());
}

TEST_F(Recounts, TryBothAndFailWithEither) {
    CreateFromSchema(DB_LOG);
    CreateFromSchema(DB_LOG_CNT);
    Sql(DB_LOG, "INSERT INTO log(log_type, log_time) VALUES(5, 0);");
    WriteFile(VGDB::GetDBPath(DB_RECORDING), std::string(4096, 'x'));
    CreateFromSchema(DB_RECORDING_CNT);
    EXPECT_EQ(-1, migrations::RecountRecordingAndLog());
    EXPECT_EQ("5|0|1\n", Rows(DB_LOG_CNT, "SELECT * FROM logcnt"));

    WriteFile(VGDB::GetDBPath(DB_AXISACSEVTLOG), std::string(4096, 'x'));
    EXPECT_EQ(-1, migrations::RecountVGLogAndAxisAcsLog());
    EXPECT_EQ("0|0|1\n", Rows(DB_LOG_CNT, "SELECT * FROM logeventcnt"));
    EXPECT_EQ(1, CountInLog("(RecountRecordingAndLog): "));
    EXPECT_EQ(1, CountInLog("(RecountVGLogAndAxisAcsLog): "));
    EXPECT_EQ(1, CountInLog("(Recount): ")) << "the row of the door events alone";
}

class SettledRows : public SystemTree {};

TEST_F(SettledRows, CutArchiveTaskNamesTo32Characters) {
    Sql(DB_SYSTEM,
        "CREATE TABLE archive_pull_task(id INTEGER PRIMARY KEY, name TEXT);"
        "CREATE TABLE archive_push_task(id INTEGER PRIMARY KEY, name TEXT);"
        "INSERT INTO archive_pull_task VALUES"
        "(1, '12345678901234567890123456789012'), (2, '123456789012345678901234567890123'), (3, NULL), (4, "
        "''),"
        "(5, 'ääääääääääääääääääääääääääääääää'), (6, "
        "'錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影''s more');"
        "INSERT INTO archive_push_task VALUES(1, '1234567890123456789012345678901234567890');");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::LimitMaxLengthOfArchTaskNameTo32());
        EXPECT_EQ(
            "1|12345678901234567890123456789012\n2|12345678901234567890123456789012\n3|\n4|\n"
            "5|ääääääääääääääääääääääääääääääää\n6|"
            "錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影錄影\n",
            Rows(DB_SYSTEM, "SELECT * FROM archive_pull_task"));
    }
    EXPECT_EQ("40\n", Rows(DB_SYSTEM, "SELECT length(name) FROM archive_push_task"));
    EXPECT_EQ("", Log());
}

TEST_F(SettledRows, SaveEachCameraAndThenTheHomeModeWithoutChangingAValue) {
    Sql(DB_SYSTEM,
        "CREATE TABLE camera(id INTEGER PRIMARY KEY, name TEXT, extra BLOB);"
        "INSERT INTO camera VALUES(2, 'it''s', x'00ff'), (1, NULL, 1.5);"
        "CREATE TABLE homemodesetting(mode_on INTEGER);"
        "INSERT INTO homemodesetting VALUES(1);"
        "CREATE TABLE saved(what TEXT);"
        "CREATE TRIGGER cam AFTER UPDATE ON camera BEGIN INSERT INTO saved VALUES(NEW.id); END;"
        "CREATE TRIGGER home AFTER UPDATE ON homemodesetting BEGIN INSERT INTO saved VALUES('home'); END;");
    const std::string cameras = Rows(DB_SYSTEM, "SELECT id, quote(name), quote(extra) FROM camera");
    EXPECT_EQ(0, migrations::SaveAllCamAndHomeMode());
    EXPECT_EQ("1\n2\nhome\n", Rows(DB_SYSTEM, "SELECT what FROM saved"));
    EXPECT_EQ(cameras, Rows(DB_SYSTEM, "SELECT id, quote(name), quote(extra) FROM camera"));
    EXPECT_EQ("1\n", Rows(DB_SYSTEM, "SELECT mode_on FROM homemodesetting"));

    Sql(DB_SYSTEM,
        "CREATE TRIGGER broken BEFORE UPDATE ON camera WHEN NEW.id = 1 BEGIN"
        " SELECT RAISE(ABORT, 'broken'); END;");
    EXPECT_EQ(-1, migrations::SaveAllCamAndHomeMode());
    EXPECT_EQ("1\n2\nhome\nhome\n", Rows(DB_SYSTEM, "SELECT what FROM saved"))
        << "the cameras do not keep the home mode";
    EXPECT_EQ(1, CountInLog("(SaveAllCamAndHomeMode): Failed to save the cameras.\n"));
}

TEST_F(SettledRows, GiveSnapshotsWithoutATimeThatTheyShowTheOneAtWhichTheyWereTaken) {
    Sql(DB_SNAPSHOT,
        "CREATE TABLE snapshot(id INTEGER PRIMARY KEY, create_time INTEGER, video_time INTEGER);"
        "INSERT INTO snapshot VALUES(1, 100, 0), (2, 200, NULL), (3, 300, 250), (4, 0, NULL), (5, NULL, 0);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::SetVideoTmEqualToCreateTm());
        EXPECT_EQ("1|100\n2|200\n3|250\n4|NULL\n5|0\n",
                  Rows(DB_SNAPSHOT, "SELECT id, quote(video_time) FROM snapshot"));
    }
}

TEST_F(SettledRows, OperationsThatAreNotSettledChangeNothing) {
    CreateNewSystem();
    Sql(DB_SYSTEM, "INSERT INTO camera(id, ds_id) VALUES(1, 0), (2, 1);");
    const std::string before = ReadFile(VGDB::GetDBPath(DB_SYSTEM));
    EXPECT_EQ(0, migrations::CreateMissingCamSettingsConf());
    EXPECT_EQ(0, migrations::InitOrvacamLogArchSetting());
    EXPECT_EQ(0, migrations::AddAdvLogAndDropAbandoned());
    EXPECT_EQ(0, migrations::ChangeAddOnServiceStatus());
    EXPECT_EQ(0, migrations::TouchLogTypeSettingKeys());
    EXPECT_TRUE(before == ReadFile(VGDB::GetDBPath(DB_SYSTEM)));
    EXPECT_EQ("", Log());
}

}  // namespace
