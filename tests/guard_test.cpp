// What a row needs and a database cannot tell is not taken for absent.
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"
#include "upgrader/migrations/noti_upgrade.h"

namespace {

struct GuardedRow {
    const char* name;
    int (*row)();
    DB_INSTANCE db = DB_SYSTEM;
};

#define ROW(name) #name, migrations::name
const GuardedRow kRows[] = {
    {ROW(UpdatePrivilegeProfile)},
    {ROW(UpdatePrivProfileAndPrivPerCam)},
    {ROW(ClearInaCamsInDefPrivProf)},
    {ROW(RemoveNotExistDataInPrivProfile)},
    {ROW(UpdatePrivPerCam)},
    {ROW(DeleteNonexistentPrivProfileFromSubTable)},
    {ROW(CreateNonePrivProfile)},
    {ROW(ReCreateNonePrivProfile)},
    {ROW(CreateNonePrivProfile), DB_AXISACSCTRL},
    {ROW(UpdateVGAccountPrivProfileList)},
    {ROW(UpdateMapPrivOfNonePrivProfile)},
    {ROW(FillMobileStmByLiveviewStm)},
    {ROW(InsertCamDetSettingTable)},
    {ROW(SaveAllCamAndHomeMode)},
    {ROW(DisableMsnSkypePushService)},
    {ROW(UpdateEnablePushService)},
    {ROW(DelDupNotiMail)},
    {ROW(UpdateSnapshotSortAndNamingRule)},
    {"MoveFilterFromDbToConf", NotiUpgrade::MoveFilterFromDbToConf},
    {ROW(LimitMaxLengthOfArchTaskNameTo32)},
    {ROW(ShowDvaTaskChangeInfo)},
    {ROW(SetVideoTmEqualToCreateTm), DB_SNAPSHOT},
};
#undef ROW

class Guards : public SystemTree {};

TEST_F(Guards, WithoutADatabaseThereIsNothingToDo) {
    for (const GuardedRow& row : kRows)
        EXPECT_EQ(0, row.row()) << row.name;
    Sql(DB_SYSTEM, "CREATE TABLE other(id INTEGER);");
    Sql(DB_SNAPSHOT, "CREATE TABLE other(id INTEGER);");
    for (const GuardedRow& row : kRows)
        EXPECT_EQ(0, row.row()) << row.name;
    EXPECT_EQ("", Log());
}

TEST_F(Guards, ThatCannotBeReadFailTheRowUnderItsName) {
    CreateNewSystem();
    for (const GuardedRow& row : kRows) {
        const std::string path = VGDB::GetDBPath(row.db);
        const std::string whole = ReadFile(path);
        VGDB::CloseAll();
        WriteFile(path, std::string(4096, 'x'));
        EXPECT_EQ(-1, row.row()) << row.name;
        EXPECT_GE(CountInLog("(" + std::string(row.name) + "): Failed to "), 1) << row.name;
        VGDB::CloseAll();
        WriteFile(path, whole);
    }
}

// With every door open it would be no such profile.
TEST_F(Guards, NoNoneProfileIsMadeWhereTheDoorsCannotBeRead) {
    CreateNewSystem();
    VGDB::CloseAll();
    WriteFile(VGDB::GetDBPath(DB_AXISACSCTRL), std::string(4096, 'x'));
    EXPECT_EQ(-1, migrations::ReCreateNonePrivProfile());
    EXPECT_EQ("", Rows(DB_SYSTEM, "SELECT id FROM privilegeprofile WHERE privilege = -2"));
}

}  // namespace
