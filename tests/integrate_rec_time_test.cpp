#include "platform/userlog/vglog.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

constexpr const char* kTimes = "SELECT id, pre_rec_time, post_rec_time FROM camera ORDER BY id";
constexpr const char* kFlag = "upgrade_integrate_pre_post_rec=\"true\"\n";

class IntegrateRecTimeTest : public SystemTree {
protected:
    IntegrateRecTimeTest() {
        Sql(DB_SYSTEM,
            "CREATE TABLE camera(id INTEGER, name TEXT, pre_rec_time INTEGER, post_rec_time INTEGER);"
            "CREATE TABLE iva_setting(id INTEGER, name TEXT, camera_id INTEGER, pre_rec_time INTEGER,"
            " post_rec_time INTEGER);"
            // A camera's time that does not rise is not written, not even with the same value.
            "CREATE TABLE written(what TEXT);"
            "CREATE TRIGGER pre UPDATE OF pre_rec_time ON camera"
            " BEGIN INSERT INTO written VALUES('pre ' || new.id); END;"
            "CREATE TRIGGER post UPDATE OF post_rec_time ON camera"
            " BEGIN INSERT INTO written VALUES('post ' || new.id); END;");
        CreateFromSchema(DB_LOG);
    }

    // Runs the migration as the driver does and gives the user-visible entries of this run.
    static std::string EntriesOfRun(int result = 0) {
        Sql(DB_LOG, "DELETE FROM log;");
        EXPECT_EQ(result, migrations::IntegratePrePostRecTimeOnce());
        EXPECT_EQ(0, VGLogFlush());
        return Rows(DB_LOG,
                    "SELECT printf('%08X', log_type), user, item_id, params, ds_id, extra FROM log"
                    " ORDER BY id");
    }
};

TEST_F(IntegrateRecTimeTest, CamerasTakeTheLargestTimeOfTheirTasks) {
    Sql(DB_SYSTEM,
        "INSERT INTO camera VALUES(7, 'Both', 5, 5), (3, 'Pre ''only''', 5, 60), (4, 'Enough', 5, 5),"
        " (5, 'No tasks', 1, NULL), (7, 'Second of 7', 90, 90), (6, 'From NULL', NULL, 3);"
        "INSERT INTO iva_setting VALUES"
        " (10, 'Cross', 3, 3, 60), (11, 'Count', 3, 10, 60), (12, 'Linger', 3, 8, 20),"
        " (13, 'Less', 4, 3, 5), (14, 'Same', 4, 5, 5),"
        " (15, 'Longest post', 7, 6, 30), (16, 'Longest pre', 7, 9, 20),"
        " (17, 'Of nobody', 99, 90, 90), (18, 'Unbound', NULL, 90, 90),"
        " (19, NULL, 6, 2, NULL);");
    EXPECT_EQ(
        // A time that has risen: the camera before its tasks, and of these those whose own time is another.
        "13300008|SYSTEM|3|[\"Pre-Recording time\",\"Pre 'only'\",\"10\"]|0|0\n"
        "133000F7|SYSTEM|10|[\"Cross\",\"Pre-Recording time\",\"10\"]|0|0\n"
        "133000F7|SYSTEM|12|[\"Linger\",\"Pre-Recording time\",\"10\"]|0|0\n"
        "13300008|SYSTEM|6|[\"Pre-Recording time\",\"From NULL\",\"2\"]|0|0\n"
        "13300008|SYSTEM|7|[\"Pre-Recording time\",\"Both\",\"9\"]|0|0\n"
        "133000F7|SYSTEM|15|[\"Longest post\",\"Pre-Recording time\",\"9\"]|0|0\n"
        "13300008|SYSTEM|7|[\"Post-Recording time\",\"Both\",\"30\"]|0|0\n"
        "133000F7|SYSTEM|16|[\"Longest pre\",\"Post-Recording time\",\"30\"]|0|0\n",
        EntriesOfRun());
    EXPECT_EQ("3|10|60\n4|5|5\n5|1|\n6|2|3\n7|9|30\n7|9|30\n", Rows(DB_SYSTEM, kTimes));
    EXPECT_EQ("post 7\npre 3\npre 6\npre 7\n",
              Rows(DB_SYSTEM, "SELECT DISTINCT what FROM written ORDER BY what"));
    EXPECT_EQ(kFlag, Settings());

    // What the administrator sets afterwards stays.
    Sql(DB_SYSTEM, "UPDATE camera SET pre_rec_time = 0, post_rec_time = 0;");
    EXPECT_EQ("", EntriesOfRun());
    EXPECT_EQ("3|0|0\n4|0|0\n5|0|0\n6|0|0\n7|0|0\n7|0|0\n", Rows(DB_SYSTEM, kTimes));
}

TEST_F(IntegrateRecTimeTest, WithoutCamerasItIsDone) {
    Sql(DB_SYSTEM, "INSERT INTO iva_setting VALUES(1, 'Unbound', 0, 5, 5);");
    EXPECT_EQ("", EntriesOfRun());
    EXPECT_EQ(kFlag, Settings());
}

TEST_F(IntegrateRecTimeTest, FailedStepLeavesEveryCameraAsItWasAndNoFlag) {
    const struct {
        const char* step;
        const char* damage;
        const char* repair;
    } cases[] = {
        {"LoadCam", "ALTER TABLE camera RENAME TO lost;", "ALTER TABLE lost RENAME TO camera;"},
        {"LoadExtSetting", "ALTER TABLE iva_setting RENAME TO lost;",
         "ALTER TABLE lost RENAME TO iva_setting;"},
        {"Save",
         "CREATE TRIGGER full BEFORE UPDATE ON camera WHEN new.id = 2"
         " BEGIN SELECT RAISE(ABORT, 'disk full'); END;",
         "DROP TRIGGER full;"},
    };
    Sql(DB_SYSTEM,
        "INSERT INTO camera VALUES(1, 'Gate', 5, 5), (2, 'Yard', 5, 5);"
        "INSERT INTO iva_setting VALUES(10, 'Cross', 1, 8, 8), (11, 'Count', 2, 9, 9);");
    for (const auto& [step, damage, repair] : cases) {
        Sql(DB_SYSTEM, damage);
        EXPECT_EQ("", EntriesOfRun(-1)) << damage;
        EXPECT_EQ(1, CountInLog(std::string("(") + step + "): Failed to execute SQL command.\n"))
            << damage << Log();
        EXPECT_GE(CountInLog("(IntegratePrePostRecTimeOnce): Failed to integrate "), 1) << damage;
        EXPECT_EQ("", Settings()) << damage;
        Sql(DB_SYSTEM, repair);
        EXPECT_EQ("1|5|5\n2|5|5\n", Rows(DB_SYSTEM, kTimes)) << damage;
    }
    EXPECT_NE("", EntriesOfRun());
    EXPECT_EQ("1|8|8\n2|9|9\n", Rows(DB_SYSTEM, kTimes));
}

}  // namespace
