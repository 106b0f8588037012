#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

class CameraStreamsTest : public SystemTree {};

TEST_F(CameraStreamsTest, MobileTakesTheLiveviewMode) {
    EXPECT_EQ(-1, migrations::CopyLiveviewModeToMobile());
    EXPECT_EQ(1, CountInLog("(CopyLiveviewModeToMobile): Failed to execute sql: UPDATE camera"));

    Sql(DB_SYSTEM,
        "CREATE TABLE camera(id INTEGER PRIMARY KEY, liveview_mode, mobile_liveview_mode);"
        "INSERT INTO camera VALUES(1, 2, 0), (2, 0, 1), (3, 1, 1);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::CopyLiveviewModeToMobile());
        EXPECT_EQ("1|2|2\n2|0|0\n3|1|1\n", Rows(DB_SYSTEM, "SELECT * FROM camera"));
    }
}

TEST_F(CameraStreamsTest, MobileWithoutAResolutionTakesThatOfTheLiveView) {
    Sql(DB_SYSTEM,
        "CREATE TABLE camera(id INTEGER PRIMARY KEY, live_resolution TEXT, mobile_resolution TEXT);"
        "INSERT INTO camera VALUES(1, '1280x720', ''), (2, 'VGA', NULL), (3, '1280x720', '640x360'),"
        " (4, NULL, ''), (5, '', NULL);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::FillMobileStmByLiveviewStm());
        EXPECT_EQ("1|'1280x720'\n2|'VGA'\n3|'640x360'\n4|''\n5|NULL\n",
                  Rows(DB_SYSTEM, "SELECT id, quote(mobile_resolution) FROM camera"));
    }
}

TEST_F(CameraStreamsTest, EveryCameraHasADetectionSetting) {
    Sql(DB_SYSTEM,
        "CREATE TABLE camera(id INTEGER); INSERT INTO camera VALUES(3), (1), (3), (NULL), (7);"
        "CREATE TABLE camdetsetting(camera_id INTEGER, level INTEGER DEFAULT 5);"
        "INSERT INTO camdetsetting VALUES(7, 9), (8, 2), (NULL, 1);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::InsertCamDetSettingTable());
        EXPECT_EQ("|1\n1|5\n3|5\n7|9\n8|2\n",
                  Rows(DB_SYSTEM, "SELECT camera_id, level FROM camdetsetting ORDER BY camera_id"));
    }
}

}  // namespace
