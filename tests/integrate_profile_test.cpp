#include "platform/userlog/vglog.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

constexpr const char* kLists = "SELECT id, profile_setting_list FROM camera ORDER BY id";

class IntegrateProfileTest : public SystemTree {
protected:
    IntegrateProfileTest() {
        Sql(DB_SYSTEM,
            "CREATE TABLE camera(id INTEGER, name TEXT, profile_setting_list TEXT,"
            " resolution TEXT DEFAULT '1920x1080', live_resolution TEXT DEFAULT '1280x720',"
            " mobile_resolution TEXT DEFAULT '640x360');"
            "CREATE TABLE iva_setting(id INTEGER, name TEXT, camera_id INTEGER, stream_profile INTEGER);"
            "CREATE TABLE face_setting(id INTEGER, name TEXT, camera_id INTEGER, stream_profile INTEGER);");
        Sql(DB_POS,
            "CREATE TABLE pos(id INTEGER, name TEXT, pairedcam_id INTEGER, pairedcam_stream INTEGER);");
        CreateFromSchema(DB_LOG);
    }

    static void AddCamera(int id, const std::string& name, const std::string& list) {
        Sql(DB_SYSTEM, "INSERT INTO camera(id, name, profile_setting_list) VALUES(" + std::to_string(id) +
                           ", " + VGDB::QuoteEscape(name) + ", " + VGDB::QuoteEscape(list) + ");");
    }

    // Runs the migration as the driver does and gives the user-visible entries of this run.
    static std::string EntriesOfRun(int result = 0) {
        Sql(DB_LOG, "DELETE FROM log;");
        EXPECT_EQ(result, migrations::IntegrateExternalProfileToCam());
        EXPECT_EQ(0, VGLogWrite(VGLogTake()));
        return Rows(DB_LOG,
                    "SELECT printf('%08X', log_type), user, item_id, params, ds_id, extra FROM log"
                    " ORDER BY id");
    }

    static void ExpectSecondRunChangesNothing() {
        const std::string lists = Rows(DB_SYSTEM, kLists);
        EXPECT_EQ("", EntriesOfRun());
        EXPECT_EQ(lists, Rows(DB_SYSTEM, kLists));
    }
};

TEST_F(IntegrateProfileTest, RecordingTakesTheLargestStreamInUse) {
    AddCamera(1, "Gate", "0,0,0,0,0,0,2,2,1,0,2,0");
    AddCamera(2, "Done", "0,0,0,0,0,0,2,2,1,0,2,0,1,0,0");
    EXPECT_EQ(
        "13300008|SYSTEM|1|[\"Recording settings - Live view alert clip\",\"Gate\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|1|[\"Recording settings - Action rule recording\",\"Gate\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|1|[\"Recording settings - Advanced continuous recording\",\"Gate\",\"Balanced\"]"
        "|0|0\n",
        EntriesOfRun());
    EXPECT_EQ(
        "1|0,0,0,0,0,0,2,2,1,0,2,0,1,0,0\n"
        "2|0,0,0,0,0,0,2,2,1,0,2,0,1,0,0\n",
        Rows(DB_SYSTEM, kLists));
    ExpectSecondRunChangesNothing();
}

TEST_F(IntegrateProfileTest, ShortListIsPaddedAndAllItsFeaturesLogged) {
    AddCamera(9, "Bob's\n\"yard\"", "0,0,0,0,0,0,0,0,0,0,0");
    AddCamera(3, "Empty", "");
    EXPECT_EQ(
        "13300008|SYSTEM|3|[\"Recording settings - Live view alert clip\",\"Empty\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|3|[\"Recording settings - Action rule recording\",\"Empty\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|3|[\"Recording settings - Manual recording\",\"Empty\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|3|[\"Recording settings - Advanced continuous recording\",\"Empty\",\"Balanced\"]"
        "|0|0\n"
        "13300008|SYSTEM|9|[\"Recording settings - Live view alert clip\",\"Bob's\\n\\\"yard\\\"\","
        "\"High quality\"]|0|0\n"
        "13300008|SYSTEM|9|[\"Recording settings - Action rule recording\",\"Bob's\\n\\\"yard\\\"\","
        "\"High quality\"]|0|0\n"
        "13300008|SYSTEM|9|[\"Recording settings - Manual recording\",\"Bob's\\n\\\"yard\\\"\","
        "\"High quality\"]|0|0\n"
        "13300008|SYSTEM|9|[\"Recording settings - Advanced continuous recording\",\"Bob's\\n\\\"yard\\\"\","
        "\"High quality\"]|0|0\n",
        EntriesOfRun());
    EXPECT_EQ(
        "3|1,1,1,1,1,1,1,1,1,1,1,1,1,0,0\n"
        "9|0,0,0,0,0,0,0,0,0,0,0,1,0,0,0\n",
        Rows(DB_SYSTEM, kLists));
    ExpectSecondRunChangesNothing();
}

TEST_F(IntegrateProfileTest, ExternalUsersCountAndAreTold) {
    AddCamera(1, "Gate", "0,0,0,0,0,0,2,2,2,0,2,0");
    AddCamera(2, "No uses", "0,0,0,0,0,0,2,2,2,0,2,0");
    Sql(DB_POS,
        "INSERT INTO pos VALUES(5, 'Till ''A''', 1, 1), (6, 'Till B', 1, 2), (7, 'Of nobody', 99, 0);");
    Sql(DB_SYSTEM,
        "INSERT INTO iva_setting VALUES(11, 'Count', 1, 2), (10, 'Cross', 1, 1), (12, 'Stray', NULL, 0);"
        "INSERT INTO face_setting VALUES(11, 'Door', 1, 1), (12, 'Hall', 1, 2);");
    EXPECT_EQ(
        "13300008|SYSTEM|1|[\"Recording settings - Live view alert clip\",\"Gate\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|1|[\"Recording settings - Action rule recording\",\"Gate\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|1|[\"Recording settings - Manual recording\",\"Gate\",\"Balanced\"]|0|0\n"
        "13300008|SYSTEM|1|[\"Recording settings - Advanced continuous recording\",\"Gate\",\"Balanced\"]"
        "|0|0\n"
        "133000FE|SYSTEM|6|[\"Till B\",\"Stream profile\",\"Balanced\"]|0|0\n"
        "133000F7|SYSTEM|11|[\"Count\",\"Gate\",\"Balanced\"]|0|0\n"
        "13300242|SYSTEM|12|[\"Hall\",\"Gate\",\"Balanced\"]|0|0\n",
        EntriesOfRun());
    EXPECT_EQ(
        "1|0,0,0,0,0,0,2,2,2,0,2,0,1,1,0\n"
        "2|0,0,0,0,0,0,2,2,2,0,2,0,2,0,0\n",
        Rows(DB_SYSTEM, kLists));
    ExpectSecondRunChangesNothing();
}

// A use of a stream that no camera has counts for the smallest; a NULL reads as 0, also as camera 0.
TEST_F(IntegrateProfileTest, OddRowsOfExternalUsers) {
    AddCamera(0, "Zero", "2,2,2,2,2,2,2,2,2,2,2,2");
    AddCamera(1, "Gate", "2,2,2,2,2,2,2,2,2,2,2,2");
    AddCamera(1, "Second of 1", "0");
    Sql(DB_POS, "INSERT INTO pos VALUES(5, NULL, 1, -7);");
    Sql(DB_SYSTEM,
        "INSERT INTO iva_setting VALUES(10, 'Nowhere', NULL, NULL);"
        "INSERT INTO face_setting VALUES(11, 'Beyond', 1, 3);");
    EXPECT_EQ(
        "133000FE|SYSTEM|5|[\"\",\"Stream profile\",\"Low bandwidth\"]|0|0\n"
        "13300242|SYSTEM|11|[\"Beyond\",\"Gate\",\"Low bandwidth\"]|0|0\n",
        EntriesOfRun());
    EXPECT_EQ(
        "0|2,2,2,2,2,2,2,2,2,2,2,2,2,0,0\n"
        "1|2,2,2,2,2,2,2,2,2,2,2,2,2,2,0\n"
        "1|2,2,2,2,2,2,2,2,2,2,2,2,2,2,0\n",
        Rows(DB_SYSTEM, kLists));
    ExpectSecondRunChangesNothing();
}

TEST_F(IntegrateProfileTest, ListsAsOldBuildsAndAccidentsLeftThem) {
    const struct {
        const char* stored;
        const char* finished;
    } cases[] = {
        {"0, 1, 2", "0,1,2,1,1,1,1,1,1,1,1,1,1,0,0"},
        {"a,,2b,-3", "0,0,2,-3,1,1,1,1,1,1,1,1,1,0,0"},
        {"9999999999999999999,1", "-1,1,1,1,1,1,1,1,1,1,1,1,1,0,0"},
        {"1,1,1,1,1,1,1,1,1,1,1", "1,1,1,1,1,1,1,1,1,1,1,1,1,0,0"},
        {",,,,,,,,,,,", "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0"},
        {",,,,,,,,,,,,7,7", "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0"},
        {",,,,,,,,,,,,7,7,7", "0,0,0,0,0,0,0,0,0,0,0,0,0,0,7"},
        {",,,,,,,,,,,,,,,,,,,,,,,", "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0"},
        // Beyond 23 characters
        {"1,1,1,1,1,1,1,1,1,1,1,1,1", "1,1,1,1,1,1,1,1,1,1,1,1,1"},
        {",,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,", ",,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,"},
        {"10,10,10,10,10,10,10,10,10,10", "10,10,10,10,10,10,10,10,10,10"},
    };
    int id = 0;
    for (const auto& [stored, finished] : cases)
        AddCamera(++id, "Camera", stored);
    Sql(DB_SYSTEM, "INSERT INTO camera(id, name, profile_setting_list) VALUES(100, 'No list', NULL);");
    EntriesOfRun();
    id = 0;
    for (const auto& [stored, finished] : cases)
        EXPECT_EQ(
            std::string(finished) + '\n',
            Rows(DB_SYSTEM, "SELECT profile_setting_list FROM camera WHERE id = " + std::to_string(++id)))
            << '"' << stored << '"';
    EXPECT_EQ("1\n", Rows(DB_SYSTEM, "SELECT profile_setting_list IS NULL FROM camera WHERE id = 100"));
    ExpectSecondRunChangesNothing();
}

TEST_F(IntegrateProfileTest, StreamsRankByPixels) {
    const struct {
        const char* resolutions;  // of streams 0, 1, 2 as SQL
        const char* used;         // streams in use, as SQL list of positions 6, 7 and 8
        const char* picked;
    } cases[] = {
        {"'640x480', '1920x1080', '320x240'", "0,1,2", "1"},
        {"'640x480', '1920x1080', '800x600'", "0,0,2", "2"},
        {"'640x480', '480x640', '640x480'", "2,1,0", "0"},
        {"'640x480', '480x640', '640x480'", "2,1,2", "1"},
        {"'QVGA', ' 720p', '4CIF'", "0,1,2", "1"},
        {"'unknown', '', '1x0'", "0,1,2", "2"},
        {"NULL, '-5x-5', 'VGA (x)'", "0,1,2", "0"},
        {"'65536x65536', '4294967295x4294967295', '1x4294967296'", "0,1,2", "1"},  // beyond 32 bits
        {"'8000x8000', '9x9', '99999999999999999999999x2'", "0,1,2", "2"},         // beyond 64
        {"'7x99999999999999999999999', '9223372036854775807x2', '0x99999999999999999999999'", "0,1,2", "0"},
    };
    int id = 0;
    for (const auto& [resolutions, used, picked] : cases)
        Sql(DB_SYSTEM, "INSERT INTO camera VALUES(" + std::to_string(++id) + ", 'Camera', '0,0,0,0,0,0," +
                           used + ",0," + std::string(1, used[4]) + ",0', " + resolutions + ");");
    EntriesOfRun();
    id = 0;
    for (const auto& [resolutions, used, picked] : cases)
        EXPECT_EQ(
            std::string("0,0,0,0,0,0,") + used + ",0," + used[4] + ",0," + picked + ",0,0\n",
            Rows(DB_SYSTEM, "SELECT profile_setting_list FROM camera WHERE id = " + std::to_string(++id)))
            << resolutions << " in use " << used;
}

TEST_F(IntegrateProfileTest, NothingToDo) {
    EXPECT_EQ("", EntriesOfRun());
    AddCamera(1, "Done", "0,0,0,0,0,0,2,2,1,0,2,0,1,0,0");
    Sql(DB_POS, "DROP TABLE pos;");
    EXPECT_EQ("", EntriesOfRun()) << "no camera, so nobody asks for the others";
    EXPECT_EQ("", Log());
}

TEST_F(IntegrateProfileTest, FailedStepLeavesEveryCameraAsItWas) {
    const struct {
        const char* step;
        DB_INSTANCE db;
        const char* damage;
        const char* repair;
    } cases[] = {
        {"LoadUnExecutedCam", DB_SYSTEM, "ALTER TABLE camera RENAME COLUMN live_resolution TO lost;",
         "ALTER TABLE camera RENAME COLUMN lost TO live_resolution;"},
        {"LoadExtSetting", DB_POS, "ALTER TABLE pos RENAME TO lost;", "ALTER TABLE lost RENAME TO pos;"},
        {"LoadExtSetting", DB_SYSTEM, "ALTER TABLE face_setting RENAME TO lost;",
         "ALTER TABLE lost RENAME TO face_setting;"},
        {"Save", DB_SYSTEM,
         "CREATE TRIGGER full BEFORE UPDATE ON camera WHEN new.id = 2"
         " BEGIN SELECT RAISE(ABORT, 'disk full'); END;",
         "DROP TRIGGER full;"},
    };
    AddCamera(1, "Gate", "0,0,0,0,0,0,2,2,1,0,2,0");
    AddCamera(2, "Yard", "");
    const std::string before = Rows(DB_SYSTEM, kLists);
    for (const auto& [step, db, damage, repair] : cases) {
        Sql(db, damage);
        const std::string message = std::string("(") + step + "): Failed to execute SQL command.\n";
        const int logged = CountInLog(message);
        EXPECT_EQ("", EntriesOfRun(-1)) << damage;
        EXPECT_EQ(logged + 1, CountInLog(message)) << damage << Log();
        EXPECT_EQ(before, Rows(DB_SYSTEM, kLists)) << damage;
        Sql(db, repair);
    }
    EXPECT_NE("", EntriesOfRun());
}

TEST_F(IntegrateProfileTest, MissingPosDatabaseIsNotCreated) {
    AddCamera(1, "Gate", "");
    VGDB::CloseAll();
    const std::string pos = VGDB::GetDBPath(DB_POS);
    ASSERT_EQ(0, std::remove(pos.c_str()));
    EXPECT_EQ("", EntriesOfRun(-1));
    EXPECT_EQ("1|\n", Rows(DB_SYSTEM, kLists));
    EXPECT_EQ(1, CountInLog("(LoadExtSetting): Failed to execute SQL command.\n"));
    EXPECT_NE(0, std::remove(pos.c_str()));
}

}  // namespace
