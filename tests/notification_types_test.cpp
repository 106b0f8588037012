#include <string>

#include "platform/package/notification/home_mode_setting.h"
#include "platform/package/notification/notification_filter.h"
#include "tests/support/system_tree.h"

namespace {

class NotificationTypes : public SystemTree {};

TEST_F(NotificationTypes, AreTheColumnsOfTheHomeModeTable) {
    std::string columns;
    for (int type = 0; type < NOTIFY_TYPE_COUNT; ++type)
        columns += HomeModeSetting::GetNotiTypeKey(static_cast<VG_NOTIFY_TYPE>(type)) + '\n';
    CreateFromSchema(DB_SYSTEM);
    EXPECT_EQ(columns, Rows(DB_SYSTEM, "SELECT name FROM pragma_table_info('homemodenotifyfilter')"));
    EXPECT_EQ(122u, NotificationFilter::GetNotiFilterKeys().size());

    for (const int noType : {-1, 122}) {
        EXPECT_EQ("", HomeModeSetting::GetNotiTypeKey(static_cast<VG_NOTIFY_TYPE>(noType)));
        EXPECT_TRUE(NotificationFilter::IsDeprecated(static_cast<VG_NOTIFY_TYPE>(noType)));
    }
}

TEST_F(NotificationTypes, FiltersAreReadFromTheSettingsAndOnlyChangesAreWritten) {
    const std::string before =
        "# filters\r\n"
        "noti_filter_motion_detected=\"37\"\r\n"
        "noti_filter_motion_detected=\"1\"\r\n"
        "noti_filter_notify_type_0=many\r\n"
        "noti_filter_notify_type_122=\"4\"\r\n";
    WriteSettings(before);
    NotificationFilter filter;
    ASSERT_EQ(0, filter.Reload());
    EXPECT_EQ((NotificationFilter::FilterMap{{VG_NOTIFY_TYPE{0}, 0}, {NOTIFY_MOTION_DETECTED, 37}}),
              filter.GetFilterMap());
    EXPECT_EQ(1, filter.GetFilterSettingByType(NOTIFY_INTERCOM_REX)) << "the default";

    filter.SetFilterSettingByType(NOTIFY_MOTION_DETECTED, 37);
    ASSERT_EQ(0, filter.Save());
    EXPECT_EQ(before, Settings());
    filter.SetFilterSettingByType(NOTIFY_INTERCOM_REX, 1);
    ASSERT_EQ(0, filter.Save());
    EXPECT_EQ(before + "noti_filter_intercom_rex=\"1\"\r\n", Settings()) << "the default too, when it is set";
    filter.RemoveFilterSettingByType(NOTIFY_INTERCOM_REX);
    ASSERT_EQ(0, filter.Save());
    EXPECT_EQ(before, Settings());
}

}  // namespace
