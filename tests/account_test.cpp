#include "platform/base/sdk_user.h"
#include "platform/package/account/priv_profile.h"
#include "tests/support/system_tree.h"

namespace {

class AccountTest : public SystemTree {};

TEST_F(AccountTest, HasOneTableOfDefaultOperations) {
    constexpr const char* kSpectator =
        "0000010000010011111111111110101100111111110110000101111010000000111111111111111";
    EXPECT_EQ(kSpectator, PrivProfile::GetAllObjViewerAdvOper());
    EXPECT_EQ(kSpectator, PrivProfile::GetDefaultUserAdvOper(""));
    EXPECT_EQ("1111110" + std::string(kSpectator).substr(7), PrivProfile::GetDefaultUserAdvOper("1111110"));
    const std::string longer(128, '0');
    EXPECT_EQ(longer, PrivProfile::GetDefaultUserAdvOper(longer));

    // A new system's spectator is an upgraded system's, by string and by mask.
    CreateFromSchema(DB_SYSTEM);
    EXPECT_EQ(std::string(kSpectator) + "|106428313966200864\n",
              Rows(DB_SYSTEM, "SELECT ina_adv_operator, ina_adv_oper FROM privilegeprofile WHERE id = 2"));
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
