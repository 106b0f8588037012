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

}  // namespace
