#include <array>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

const std::string kAllAllowed(79, '0');
const std::string kSpectator =
    "0000010000010011111111111110101100111111110110000101111010000000111111111111111";

class PrivilegeOperations : public SystemTree {
protected:
    static void CreateTable() {
        Sql(DB_SYSTEM,
            "CREATE TABLE privilegeprofile(id INTEGER PRIMARY KEY, privilege INTEGER,"
            " ina_adv_oper INTEGER DEFAULT 0, ina_adv_operator TEXT DEFAULT '');");
    }

    static std::string Masks() {
        return Rows(DB_SYSTEM, "SELECT group_concat(ina_adv_oper, ' ') FROM privilegeprofile");
    }

    static std::string Operators() {
        return Rows(DB_SYSTEM, "SELECT id, ina_adv_operator FROM privilegeprofile ORDER BY id");
    }
};

// One migration of the family: what it makes of the masks 0 (default manager), 0 (default spectator), 1
// (manager), 3 (spectator), 0 (admin), 0 (none profile), 0 (no level), and the statement it reports.
struct DenialCase {
    int (*migration)();
    const char* function;
    const char* masks;
    const char* statement;
};

const std::array kDenials = {
    DenialCase{migrations::UpdateDelteRecPriv, "UpdateDelteRecPriv", "0 32 1 35 0 0 0\n",
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 32) WHERE privilege =2"},
    DenialCase{migrations::UpdateDelAndEditSnapshotPriv, "UpdateDelAndEditSnapshotPriv",
               "0 18432 1 18435 0 0 0\n",
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 18432) WHERE privilege =2"},
    DenialCase{migrations::UpdateRecExportMountPriv, "UpdateRecExportMountPriv", "0 98304 1 98307 0 0 0\n",
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 98304) WHERE privilege =2"},
    // 81002496 + 53084160 = 134086656
    DenialCase{migrations::UpdateManagerOperPriv, "UpdateManagerOperPriv",
               "0 134086656 81002497 134086659 0 0 0\n",
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 81002496) WHERE (privilege = 2 OR"
               " privilege = 1) AND id <> 1;"
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 53084160) WHERE privilege = 2;"},
    DenialCase{migrations::UpdateIVAOperPriv, "UpdateIVAOperPriv", "0 3221225472 1 3221225475 0 0 0\n",
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 3221225472) WHERE privilege = 2;"},
    DenialCase{
        migrations::UpdateDoorPriv, "UpdateDoorPriv", "0 30769145708544 1 30769145708547 0 0 0\n",
        "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 30769145708544) WHERE privilege = 2;"},
    DenialCase{migrations::UpdateIntercomPriv, "UpdateIntercomPriv",
               "0 562949953421312 1 562949953421315 0 0 0\n",
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 562949953421312) WHERE privilege ="
               " 2;"},
    DenialCase{
        migrations::UpdatePOSPriv, "UpdatePOSPriv",
        "4503599627370496 105834591243206656 4503599627370497 105834591243206659 0 0 0\n",
        "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 105834591243206656) WHERE privilege ="
        " 2;"
        "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 4503599627370496) WHERE privilege ="
        " 1;"},
    DenialCase{migrations::UpdateHomeModePriv, "UpdateHomeModePriv",
               "268435456 268435456 268435457 268435459 0 0 0\n",
               "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 268435456) WHERE privilege =2 or"
               " privilege =1"},
};

TEST_F(PrivilegeOperations, AreDeniedByLevelAndStayDenied) {
    CreateTable();
    for (const DenialCase& denial : kDenials) {
        SCOPED_TRACE(denial.function);
        Sql(DB_SYSTEM,
            "DELETE FROM privilegeprofile;"
            "INSERT INTO privilegeprofile(id, privilege, ina_adv_oper)"
            " VALUES(1, 1, 0), (2, 2, 0), (3, 1, 1), (4, 2, 3), (5, 0, 0), (6, -2, 0), (7, NULL, 0);");
        EXPECT_EQ(0, denial.migration());
        EXPECT_EQ(denial.masks, Masks());
        WriteSettings("");  // also where a flag would keep the second run from trying
        EXPECT_EQ(0, denial.migration());
        EXPECT_EQ(denial.masks, Masks());
    }
    EXPECT_EQ("", Log());
}

TEST_F(PrivilegeOperations, ReportTheStatementThatFails) {
    Sql(DB_SYSTEM, "CREATE TABLE other(id INTEGER);");
    for (const DenialCase& denial : kDenials) {
        SCOPED_TRACE(denial.function);
        EXPECT_EQ(-1, denial.migration());
        EXPECT_EQ(1, CountInLog("(" + std::string(denial.function) + "): Failed to execute sql command [" +
                                denial.statement + "].\n"));
    }
    EXPECT_EQ(-1, migrations::GrantAllObjMgrTransDeviceAddDelPriv());
    EXPECT_EQ(1, CountInLog("(GrantAllObjMgrTransDeviceAddDelPriv): Failed to execute sql command [UPDATE "
                            "privilegeprofile SET ina_adv_oper = (ina_adv_oper | 4503599627370496) - "
                            "4503599627370496 WHERE id = 1;].\n"));
    EXPECT_EQ("", Settings()) << "what failed is not flagged as done";
}

TEST_F(PrivilegeOperations, DefaultManagerGetsTransactionDevicesBack) {
    CreateTable();
    // Bit 52 set with the sign and bit 0, and clear.
    for (const auto& [before, after] :
         {std::pair{"-9218868437227405311", "-9223372036854775807 4503599627370496\n"},
          std::pair{"5", "5 4503599627370496\n"}}) {
        Sql(DB_SYSTEM,
            std::string("DELETE FROM privilegeprofile; INSERT INTO privilegeprofile VALUES(1, 1, ") + before +
                ", ''), (3, 1, 4503599627370496, '');");
        EXPECT_EQ(0, migrations::GrantAllObjMgrTransDeviceAddDelPriv());
        EXPECT_EQ(after, Masks());
    }
}

TEST_F(PrivilegeOperations, MasksBecomeStrings) {
    CreateTable();
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile VALUES"
        "(1, 2, 4503599627370497, 'old'),"   // the default manager whatever its level: bits 0 and 52
        "(2, 2, 32, ''),"                    // bit 5
        "(3, 0, 1, ''),"                     // admin
        "(4, 1, -9223372036854775806, ''),"  // bits 1 and 63
        "(5, 2, NULL, ''),"                  // no mask
        "(6, -2, 0, 'none'),"                // the none profile has its string
        "(7, NULL, 3, 'x'),"                 // not compared by SQL, so not converted
        "(8, 'two', 1, '');");               // reads as 0
    EXPECT_EQ(0, migrations::ExtendPrivAdvOper());
    const std::string zeros63(63, '0'), zeros64(64, '0'), ones64(64, '1');
    EXPECT_EQ("1|1" + std::string(51, '0') + "1" + std::string(11, '0') + zeros64 +  //
                  "\n2|000001" + std::string(58, '0') + ones64 +                     //
                  "\n3|1" + zeros63 + zeros64 +                                      //
                  "\n4|01" + std::string(61, '0') + "1" + ones64 +                   //
                  "\n5|" + zeros64 + ones64 +                                        //
                  "\n6|none" +                                                       //
                  "\n7|x" +                                                          //
                  "\n8|1" + zeros63 + zeros64 + "\n",
              Operators());
    EXPECT_EQ("upgrade_ina_adv_operator=\"true\"\n", Settings());
}

TEST_F(PrivilegeOperations, ShortStringsGetTheLengthOfToday) {
    CreateTable();
    const std::string exact = "1" + std::string(78, '0');
    const std::string converted(128, '1');
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile VALUES"
        "(1, 2, 0, '111'), (2, 1, 0, '000'), (3, 0, 0, '1'), (4, NULL, 0, ''), (5, 1, 0, '11111111'),"
        "(6, 2, 0, ''), (7, 2, 0, 'it''s'), (8, 2, 0, '" +
            exact + "'), (9, -2, 0, '" + converted + "'), (10, 2, 0, NULL);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::UpdatePrivAdvOper());
        EXPECT_EQ("1|" + kAllAllowed +                         //
                      "\n2|" + kSpectator +                    //
                      "\n3|" + kAllAllowed +                   //
                      "\n4|" + kAllAllowed +                   //
                      "\n5|11111111" + kSpectator.substr(8) +  //
                      "\n6|" + kSpectator +                    //
                      "\n7|it's" + kSpectator.substr(4) +      //
                      "\n8|" + exact + "\n9|" + converted + "\n10|\n",
                  Operators());
    }
}

TEST_F(PrivilegeOperations, DefaultProfilesAreCorrected) {
    CreateTable();
    Sql(DB_SYSTEM, "INSERT INTO privilegeprofile VALUES(1, 1, 0, '" + std::string(128, '1') +
                       "'), (2, 0, 0, ''), (3, 2, 0, 'own');");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::CorrectAllObjPrivAdvOper());
        EXPECT_EQ("1|" + kAllAllowed + "\n2|" + kSpectator + "\n3|own\n", Operators());
    }
}

TEST_F(PrivilegeOperations, StringsReportTheStatementThatFails) {
    Sql(DB_SYSTEM, "CREATE TABLE other(id INTEGER);");
    EXPECT_EQ(-1, migrations::ExtendPrivAdvOper());
    EXPECT_EQ(-1, migrations::UpdatePrivAdvOper());
    EXPECT_EQ(-1, migrations::CorrectAllObjPrivAdvOper());
    EXPECT_EQ(
        1, CountInLog("(ExtendPrivAdvOper): Failed to execute sql: SELECT id, privilege, ina_adv_oper FROM "
                      "privilegeprofile WHERE privilege != -2 ORDER BY id;\n"));
    EXPECT_EQ(1,
              CountInLog("(UpdatePrivAdvOper): Failed to execute sql: SELECT id, privilege, ina_adv_operator "
                         "FROM privilegeprofile WHERE LENGTH(ina_adv_operator) < 79;.\n"));
    EXPECT_EQ(1, CountInLog("(CorrectAllObjPrivAdvOper): Failed to execute sql: UPDATE privilegeprofile SET "
                            "ina_adv_operator = '" +
                            kAllAllowed + "' WHERE id = 1;UPDATE privilegeprofile SET ina_adv_operator = '" +
                            kSpectator + "' WHERE id = 2;.\n"));
    EXPECT_EQ("", Settings());
}

TEST_F(PrivilegeOperations, ABatchThatFailsChangesNoString) {
    CreateTable();
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile VALUES(1, 1, 0, ''), (2, 2, 0, '');"
        "CREATE TRIGGER refuse BEFORE UPDATE ON privilegeprofile WHEN old.id = 2"
        " BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(-1, migrations::ExtendPrivAdvOper());
    EXPECT_EQ(-1, migrations::UpdatePrivAdvOper());
    EXPECT_EQ("1|\n2|\n", Operators());
    EXPECT_EQ(1, CountInLog("(UpdatePrivAdvOper): Failed to execute sql: UPDATE privilegeprofile SET "
                            "ina_adv_operator = '" +
                            kAllAllowed + "' WHERE id = 1;"));
    EXPECT_EQ("", Settings());
}

}  // namespace
