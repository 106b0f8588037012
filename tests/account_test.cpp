#include "platform/base/sdk_user.h"
#include "platform/package/account/priv_profile.h"
#include "platform/package/account/priv_upgrade.h"
#include "platform/package/account/vg_account.h"
#include "platform/vgdb/vgdb.h"
#include "tests/support/system_tree.h"

namespace {

using Ids = std::set<int>;

class AccountTest : public SystemTree {
protected:
    AccountTest() { CreateFromSchema(DB_SYSTEM); }
};

// A text of 79 characters: position 64 is the web map's.
constexpr const char* kAllAllowed =
    "0000000000000000000000000000000000000000000000000000000000000000000000000000000";
constexpr const char* kSpectator =
    "0000010000010011111111111110101100111111110110000101111010000000111111111111111";

// A row of each table, with a value of its own in every column.
constexpr const char* kFullProfile =
    "INSERT INTO privilegeprofile VALUES(7, 'Gate''s', 2, 'd', '0x3e8', '1,2', '3', '4', 5, 6, '01', '8', "
    "'9',"
    " '10', 11, '12', 13, '14', '15', '16', '17', '18', 19, '20', '21', '22');"
    "INSERT INTO privilegepercamera VALUES(7, '1', '2', '3', '4', '5', '6', '7', '8', '9', '10', '11', '12',"
    " '13', '14', '15');"
    "INSERT INTO privilegeperdoor VALUES(7, '1', '2', '3', '4', '5', '6', '7', '8');";

constexpr const char* kAllRows = "SELECT * FROM privilegeprofile WHERE id > 2; ";
constexpr const char* kAllCameraRows = "SELECT * FROM privilegepercamera";
constexpr const char* kAllDoorRows = "SELECT * FROM privilegeperdoor";

TEST_F(AccountTest, SavesEveryColumnAsItWasLoaded) {
    Sql(DB_SYSTEM, kFullProfile);
    const std::string profile = Rows(DB_SYSTEM, kAllRows);
    const std::string cameras = Rows(DB_SYSTEM, kAllCameraRows);
    const std::string doors = Rows(DB_SYSTEM, kAllDoorRows);

    PrivProfile loaded;
    ASSERT_EQ(0, loaded.Load(7));
    EXPECT_EQ(Ids{5}, loaded.GetInaCamIdSet(CAM_PRIV_DIGIOUT, false));
    EXPECT_EQ(Ids{7}, loaded.GetInaCamIdSet(CAM_PRIV_PLAY, true));
    EXPECT_EQ(Ids{12}, loaded.GetInaLayoutIdSet(ITEM_PRIV_EDIT));

    // Whatever stands in the table now is replaced by what was loaded.
    Sql(DB_SYSTEM,
        "UPDATE privilegeprofile SET name = '', privilege = 0, description = '', custom_uid = '', inacamids "
        "= '',"
        " inacamgrpids = '', allcamdsids = '', ina_operation = 0, ina_adv_oper = 0, ina_adv_operator = '',"
        " ina_emap_ids = '', all_emap_ds_ids = '', ina_layout_ids = '', all_layout_type = 0,"
        " ina_edit_layout_ids = '', all_edit_layout_type = 0, ina_edit_emap_ids = '', all_edit_emap_ds_ids = "
        "'',"
        " ina_iomodule_ids = '', all_iomodule_ds_ids = '', ina_server_ids = '', all_server_avail = 0,"
        " ina_ipspeaker_ids = '', ina_ipspeaker_grp_ids = '', all_ipspeaker_ds_ids = '' WHERE id = 7;"
        "DELETE FROM privilegepercamera; DELETE FROM privilegeperdoor;");
    ASSERT_EQ(0, loaded.Save());
    EXPECT_EQ(profile, Rows(DB_SYSTEM, kAllRows));
    EXPECT_EQ(cameras, Rows(DB_SYSTEM, kAllCameraRows));
    EXPECT_EQ(doors, Rows(DB_SYSTEM, kAllDoorRows));
}

TEST_F(AccountTest, CleansListsAndKeepsWhatIsNull) {
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, name, privilege, ina_adv_oper, inacamids, ina_emap_ids)"
        " VALUES(7, NULL, NULL, -9223372036854775808, ' 9 ,,x,3,99999999999,3', NULL);");
    PrivProfile profile;
    ASSERT_EQ(0, profile.Load(7));
    EXPECT_EQ(PRIV_LEVEL_ADMIN, profile.GetPrivilege());
    ASSERT_EQ(0, profile.Save());
    EXPECT_EQ("1|1|-9223372036854775808|3,9|\n",
              Rows(DB_SYSTEM,
                   "SELECT name IS NULL, privilege IS NULL, ina_adv_oper, inacamids, ina_emap_ids"
                   " FROM privilegeprofile WHERE id = 7"));
    EXPECT_EQ("", Rows(DB_SYSTEM, kAllCameraRows))
        << "a profile that has not been split by right must not gain an empty row";
}

TEST_F(AccountTest, ChangesSingleObjects) {
    Sql(DB_SYSTEM, kFullProfile);
    PrivProfile profile;
    ASSERT_EQ(0, profile.Load(7));
    profile.SetLayoutAccess(10, ITEM_PRIV_VIEW, true);
    profile.SetLayoutAccess(30, ITEM_PRIV_EDIT, false);
    profile.SetAllIOAccess(17, true);
    profile.SetAllIOAccess(2, false);
    PrivUpgrade::UpdateInaCamSet(CAM_PRIV_LIVE, profile, {12, 4});
    PrivUpgrade::UpdateInaEmapSet(ITEM_PRIV_VIEW, profile, {});
    PrivUpgrade::UpdateInaEmapSet(ITEM_PRIV_EDIT, profile, {6, 5});
    PrivUpgrade::UpdateInaLayoutSet(ITEM_PRIV_VIEW, profile, {40});
    ASSERT_EQ(0, profile.Save());
    EXPECT_EQ(
        "40|12,30||5,6|9|16|2\n",
        Rows(DB_SYSTEM,
             "SELECT ina_layout_ids, ina_edit_layout_ids, ina_emap_ids, ina_edit_emap_ids,"
             " all_emap_ds_ids, ina_iomodule_ids, all_iomodule_ds_ids FROM privilegeprofile WHERE id = 7"));
    EXPECT_EQ("4,12|2|6|11\n", Rows(DB_SYSTEM,
                                    "SELECT ina_live_cam_ids, ina_play_cam_ids, ina_live_camgrp_ids,"
                                    " live_allcamds_ids FROM privilegepercamera"));
}

TEST_F(AccountTest, DeletesTheProfileWithItsRows) {
    Sql(DB_SYSTEM, kFullProfile);
    Sql(DB_SYSTEM, "INSERT INTO privilegepercamera(privprofile_id) VALUES(2)");
    PrivProfile profile;
    ASSERT_EQ(0, profile.Load(7));
    ASSERT_EQ(0, profile.Delete());
    EXPECT_EQ("1\n2\n", Rows(DB_SYSTEM, "SELECT id FROM privilegeprofile"));
    EXPECT_EQ("2\n", Rows(DB_SYSTEM, "SELECT privprofile_id FROM privilegepercamera"));
    EXPECT_EQ("", Rows(DB_SYSTEM, kAllDoorRows));

    EXPECT_EQ(-1, profile.Load(7));
    EXPECT_EQ(-1, PrivProfile().Delete());
    EXPECT_EQ(-1, PrivProfile().Save());
}

TEST_F(AccountTest, WritesAListOfProfilesWholeOrNotAtAll) {
    Sql(DB_SYSTEM, kFullProfile);
    std::list<PrivProfile> profiles = PrivProfileListGetAll();
    ASSERT_EQ(3U, profiles.size());
    EXPECT_EQ(2U, PrivProfileListGetAll({.ids = {2, 7, 99}}).size());
    for (PrivProfile& profile : profiles)
        profile.SetAllIOAccess(50 + profile.GetId(), false);

    Sql(DB_SYSTEM,
        "CREATE TRIGGER refuse BEFORE UPDATE ON privilegeperdoor BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(-1, BatchUpdatePrivProfile(profiles));
    EXPECT_EQ("\n\n17\n", Rows(DB_SYSTEM, "SELECT all_iomodule_ds_ids FROM privilegeprofile ORDER BY id"));

    Sql(DB_SYSTEM, "DROP TRIGGER refuse");
    EXPECT_EQ(0, BatchUpdatePrivProfile(profiles));
    EXPECT_EQ("51\n52\n17,57\n",
              Rows(DB_SYSTEM, "SELECT all_iomodule_ds_ids FROM privilegeprofile ORDER BY id"));
}

TEST_F(AccountTest, KnowsTheDefaultProfiles) {
    EXPECT_EQ(-1, GetDefAdminProfileId());
    EXPECT_FALSE(PrivProfile::IsDefaultProfileId(-1));
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, privilege, description) VALUES"
        "(3, 0, ''), (4, 0, 'System default admin'), (5, 2, '');");
    EXPECT_EQ(4, GetDefAdminProfileId());
    for (const auto& [id, isDefault] : {std::pair{1, true}, {2, true}, {3, false}, {4, true}, {5, false}})
        EXPECT_EQ(isDefault, PrivProfile::IsDefaultProfileId(id)) << id;
}

TEST_F(AccountTest, HasOneTableOfDefaultOperations) {
    EXPECT_EQ(kSpectator, PrivProfile::GetAllObjViewerAdvOper());
    EXPECT_EQ(kSpectator, PrivProfile::GetDefaultUserAdvOper(""));
    EXPECT_EQ("1111110" + std::string(kSpectator).substr(7), PrivProfile::GetDefaultUserAdvOper("1111110"));
    const std::string longer(128, '0');
    EXPECT_EQ(longer, PrivProfile::GetDefaultUserAdvOper(longer));

    // A new system's spectator is an upgraded system's, by string and by mask.
    EXPECT_EQ(std::string(kSpectator) + "|106428313966200864\n",
              Rows(DB_SYSTEM, "SELECT ina_adv_operator, ina_adv_oper FROM privilegeprofile WHERE id = 2"));
}

TEST_F(AccountTest, ChangesTheWebMapOfEveryProfileThatItsLevelLeavesOpen) {
    const std::string none(128, '1');
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, privilege, ina_adv_operator) VALUES"
        "(3, 0, ''), (4, -2, '" +
            none + "'), (5, 1, '0');");
    const std::string query = "SELECT id, ina_adv_operator FROM privilegeprofile ORDER BY id";
    std::string granted = kSpectator, denied = kAllAllowed;
    granted[64] = '0';
    denied[64] = '1';

    ASSERT_EQ(0, SetWebMapAccessToAllPrivProfile(true));
    EXPECT_EQ(std::string("1|") + kAllAllowed + "\n2|" + granted + "\n3|" + kAllAllowed + "\n4|" + none +
                  "\n5|" + granted + "\n",
              Rows(DB_SYSTEM, query));
    ASSERT_EQ(0, SetWebMapAccessToAllPrivProfile(false));
    EXPECT_EQ("1|" + denied + "\n2|" + kSpectator + "\n3|" + kAllAllowed + "\n4|" + none + "\n5|" +
                  kSpectator + "\n",
              Rows(DB_SYSTEM, query));
}

TEST_F(AccountTest, BindsAccountsToProfiles) {
    Sql(DB_SYSTEM,
        "INSERT INTO account VALUES(1, 'anna', 3, '5,4'), (2, 'bela', 0, NULL), (3, 'cora', 9, '9');");
    std::list<VGAccount> accounts = GetAccList({.ids = {1, 2}});
    ASSERT_EQ(2U, accounts.size());
    EXPECT_EQ("anna", accounts.front().GetName());
    EXPECT_EQ((Ids{4, 5}), accounts.front().GetPrivProfileIds());

    ASSERT_EQ(0, accounts.front().SetPrivProfileId(8));
    EXPECT_EQ(8, accounts.front().GetPrivProfileId());
    ASSERT_EQ(0, VGDB::Execute(DB_SYSTEM, accounts.back().GetPrivProfileIdStringSql("6,7")));
    EXPECT_EQ("1|8|8\n2|0|6,7\n3|9|9\n",
              Rows(DB_SYSTEM, "SELECT id, privprofileid, privprofileids FROM account ORDER BY id"));
    EXPECT_EQ(3U, GetAccList().size());
    EXPECT_EQ(-1, VGAccount().SetPrivProfileId(1));
}

TEST_F(AccountTest, SystemWithoutTheTablesHasNoProfiles) {
    Sql(DB_SYSTEM, "DROP TABLE privilegeprofile; DROP TABLE account;");
    EXPECT_TRUE(PrivProfileListGetAll().empty());
    EXPECT_TRUE(GetAccList().empty());
    EXPECT_EQ(-1, PrivProfile().Load(1));
    EXPECT_EQ(-1, SetWebMapAccessToAllPrivProfile(true));
    EXPECT_EQ(-1, GetDefAdminProfileId());
}

class HostUserTest : public SystemTree {};

TEST_F(HostUserTest, FindsUsersOfTheTreeByUid) {
    const std::string longName(5000, 'n');
    WriteFile(Path("/etc/passwd"),
              "# 1000:x:1000\n"
              "+nis:x:1000:1:::\n-gone:x:1000:1:::\n"
              "root:x:0:0::/root:/bin/sh\n"
              "broken\n:x:1000:1:::\nhalf:x\nletters:x:10x0:1:::\nhuge:x:99999999999:1:::\n"
              "Jos\xc3\xa9 d'Or:x:1000:100:::\n"
              "second:x:1000:100:::\n" +
                  longName + ":x:4294967295:1:::\nlast:x:12:1:::");
    struct Case {
        unsigned int uid;
        std::string name;
    };
    for (const auto& [uid, name] :
         {Case{0, "root"}, {1000, "Jos\xc3\xa9 d'Or"}, {4294967295U, longName}, {12, "last"}}) {
        ORVAUSER* user = nullptr;
        ASSERT_EQ(1, SDKUser::UserGetByUID(uid, user)) << uid;
        EXPECT_EQ(name, user->name);
        SDKUser::UserFree(user);
        EXPECT_EQ(nullptr, user);
        SDKUser::UserFree(user);
    }

    ORVAUSER stale;
    ORVAUSER* user = &stale;
    EXPECT_EQ(0, SDKUser::UserGetByUID(10, user));
    EXPECT_EQ(nullptr, user);
}

TEST_F(HostUserTest, TreeWithoutUsersHasNone) {
    ORVAUSER* user = nullptr;
    EXPECT_EQ(0, SDKUser::UserGetByUID(0, user));
}

TEST_F(HostUserTest, AListThatCannotBeReadIsNotOneWithoutUsers) {
    std::filesystem::create_directories(Path("/etc/passwd"));
    ORVAUSER* user = nullptr;
    EXPECT_EQ(-1, SDKUser::UserGetByUID(0, user));
    EXPECT_EQ(nullptr, user);
}

}  // namespace
