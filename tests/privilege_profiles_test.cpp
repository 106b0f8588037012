#include <array>
#include <filesystem>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"
#include "upgrader/missing_schema.h"

namespace {

constexpr const char* kCameraRights =
    "SELECT privprofile_id, ina_live_cam_ids, ina_play_cam_ids, ina_lens_cam_ids, ina_audio_cam_ids,"
    " ina_digiout_cam_ids, ina_live_camgrp_ids, ina_play_camgrp_ids, ina_lens_camgrp_ids, "
    "ina_audio_camgrp_ids,"
    " ina_digiout_camgrp_ids, live_allcamds_ids, play_allcamds_ids, lens_allcamds_ids, audio_allcamds_ids,"
    " digiout_allcamds_ids FROM privilegepercamera ORDER BY 1";
constexpr const char* kDoorRights =
    "SELECT privprofile_id, ina_authorize_door_ids, ina_manual_lock_door_ids, ina_manual_unlock_door_ids,"
    " ina_manual_access_door_ids, authorize_alldoords_ids, manual_lock_alldoords_ids,"
    " manual_unlock_alldoords_ids, manual_access_alldoords_ids FROM privilegeperdoor ORDER BY 1";
constexpr const char* kLevels = "SELECT id, name, privilege, description FROM privilegeprofile ORDER BY id";

const std::string kAllAllowed(79, '0');
const std::string kAllDenied(128, '1');
const std::string kSpectator =
    "0000010000010011111111111110101100111111110110000101111010000000111111111111111";

// The system as the current schema has it, its default profiles aside.
class PrivilegeProfiles : public SystemTree {
protected:
    PrivilegeProfiles() {
        CreateFromSchema(DB_SYSTEM);
        Sql(DB_SYSTEM, "DELETE FROM privilegeprofile");
    }
};

// --- UpdateDefPrivProfile ---

class DefaultProfiles : public PrivilegeProfiles {};

// As "id, level" each, before and after.
TEST_F(DefaultProfiles, OldNumberingMakesRoomForTheAdmin) {
    const struct {
        const char* before;
        const char* after;
    } cases[] = {
        {"(1, 0), (2, 1), (3, 0), (4, NULL)", "1|1\n2|2\n3|1\n4|\n5|0\n"},
        {"(1, NULL), (2, 1), (3, -2)", "1|1\n2|2\n3|-1\n4|0\n"},  // no level is the old 0
        {"(1, 1), (2, 2), (3, 0)", "1|1\n2|2\n3|0\n"},
        {"(2, 1), (3, 0)", "2|1\n3|0\n"},  // without the default manager there is no telling
    };
    for (const auto& [before, after] : cases) {
        Sql(DB_SYSTEM,
            std::string("DELETE FROM privilegeprofile; INSERT INTO privilegeprofile(id, privilege) VALUES") +
                before);
        for (int run = 0; run < 2; ++run) {
            EXPECT_EQ(0, migrations::UpdateDefPrivProfile());
            EXPECT_EQ(after, Rows(DB_SYSTEM, "SELECT id, privilege FROM privilegeprofile ORDER BY id"))
                << before;
        }
    }
}

TEST_F(DefaultProfiles, GetTheirNamesWithTheAdmin) {
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, name, privilege, description) VALUES"
        "(1, 'Chefs', 1, ''), (2, 'Gaffer', 2, ''), (3, 'own', 0, 'mine');");
    EXPECT_EQ(0, migrations::UpdateDefPrivProfile());
    EXPECT_EQ("1|Chefs|1|\n2|Gaffer|2|\n3|own|0|mine\n", Rows(DB_SYSTEM, kLevels));

    Sql(DB_SYSTEM, "UPDATE privilegeprofile SET privilege = 1 WHERE id = 3;");
    EXPECT_EQ(0, migrations::UpdateDefPrivProfile());
    EXPECT_EQ(
        "1|All-Object Manager|1|System default manager\n"
        "2|All-Object Spectator|2|System default spectator\n"
        "3|own|1|mine\n"
        "4||0|System default admin\n",
        Rows(DB_SYSTEM, kLevels));
}

TEST_F(DefaultProfiles, PerUserProfilesAreNamedAfterTheirUsers) {
    WriteFile(Path("/etc/passwd"), "root:x:0:0::/:\nJos\xc3\xa9:x:1000:100::/:\n");
    struct Case {
        const char* customUid;
        const char* name;
    };
    const std::array cases = {
        Case{"NULL", "old"},
        Case{"''", "old"},
        Case{"'0'", "old"},
        Case{"0", "old"},
        Case{"'1000'", "custom_Jos\xc3\xa9"},
        Case{"1000", "custom_Jos\xc3\xa9"},
        Case{"'0x3e8'", "custom_Jos\xc3\xa9"},
        Case{"'01750'", "custom_Jos\xc3\xa9"},
        Case{"'4294968296'", "custom_Jos\xc3\xa9"},  // 2^32 + 1000
        Case{"'77'", "old"},
        Case{"'-2'", "old"},
        Case{"'anna'", "old"},
    };
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, name, privilege) VALUES(1, '', 1), (2, '', 2), (3, '', 0);");
    std::string expected;
    for (size_t i = 0; i < cases.size(); ++i) {
        const std::string id = std::to_string(i + 10);
        Sql(DB_SYSTEM, "INSERT INTO privilegeprofile(id, name, privilege, custom_uid) VALUES(" + id +
                           ", 'old', 2, " + cases[i].customUid + ");");
        expected += id + "|" + cases[i].name + "\n";
    }
    for (int run = 1; run <= 2; ++run) {
        EXPECT_EQ(0, migrations::UpdateDefPrivProfile());
        EXPECT_EQ(expected,
                  Rows(DB_SYSTEM, "SELECT id, name FROM privilegeprofile WHERE id >= 10 ORDER BY id"));
        EXPECT_EQ(run, CountInLog("(UpdateDefPrivProfile): Cannot get user info from orvasdk: 77\n"));
        EXPECT_EQ(run, CountInLog("(UpdateDefPrivProfile): Cannot get user info from orvasdk: 4294967294\n"));
        EXPECT_EQ(2 * run, CountInLog("orvasdk"));
    }
}

TEST_F(DefaultProfiles, AQuoteInAUserNameCostsTheNamesOnly) {
    WriteFile(Path("/etc/passwd"), "anna:x:1000:1::/:\nd'or:x:1001:1::/:\n");
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, name, privilege, custom_uid) VALUES"
        "(1, 'm', 0, 0), (2, 's', 1, 0), (3, 'old', 1, '1000'), (4, 'old', 1, '1001');");
    EXPECT_EQ(-1, migrations::UpdateDefPrivProfile());
    EXPECT_EQ(
        "1|All-Object Manager|1|System default manager\n"
        "2|All-Object Spectator|2|System default spectator\n"
        "3|old|2|\n"
        "4|old|2|\n"
        "5||0|System default admin\n",
        Rows(DB_SYSTEM, kLevels));
    EXPECT_EQ(1, CountInLog("(UpdateDefPrivProfile): Failed to execute sql: "
                            "UPDATE privilegeprofile SET name = 'custom_anna' WHERE id = 3;"
                            "UPDATE privilegeprofile SET name = 'custom_d'or' WHERE id = 4;\n"));
}

TEST_F(DefaultProfiles, EachStepReportsTheStatementThatFails) {
    const std::string failure = "(UpdateDefPrivProfile): Failed to execute sql: ";
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, privilege) VALUES(1, 1), (2, 1);"
        "CREATE TRIGGER refuse BEFORE INSERT ON privilegeprofile BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(-1, migrations::UpdateDefPrivProfile());
    EXPECT_EQ(
        1, CountInLog(failure +
                      "UPDATE privilegeprofile SET name = 'All-Object Manager', description = 'System "
                      "default manager' WHERE id = 1;UPDATE privilegeprofile SET name = 'All-Object "
                      "Spectator', description = 'System default spectator' WHERE id = 2;INSERT INTO "
                      "privilegeprofile(name, privilege, inacamids, inacamgrpids, allcamdsids, custom_uid, "
                      "description) VALUES ('', 0, '', '', '', 0, 'System default admin');\n"));
    EXPECT_EQ("1||1|\n2||1|\n", Rows(DB_SYSTEM, kLevels));

    Sql(DB_SYSTEM,
        "UPDATE privilegeprofile SET privilege = 0;"
        "CREATE TRIGGER frozen BEFORE UPDATE ON privilegeprofile BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(-1, migrations::UpdateDefPrivProfile());
    EXPECT_EQ(1, CountInLog(failure + "UPDATE privilegeprofile SET privilege = (privilege + 1);\n"));

    Sql(DB_SYSTEM, "DROP TABLE privilegeprofile");
    EXPECT_EQ(-1, migrations::UpdateDefPrivProfile());
    EXPECT_EQ(1, CountInLog(failure + "SELECT privilege FROM privilegeprofile WHERE id = 1\n"));
}

// --- The none profile ---

class NoneProfile : public PrivilegeProfiles {
protected:
    static std::string Profile() {
        return Rows(
            DB_SYSTEM,
            "SELECT id, name, privilege, description, custom_uid, inacamids, inacamgrpids, allcamdsids,"
            " ina_adv_oper, ina_adv_operator, ina_emap_ids, all_emap_ds_ids, ina_layout_ids,"
            " all_layout_type, ina_edit_layout_ids, all_edit_layout_type, ina_edit_emap_ids,"
            " all_edit_emap_ds_ids, ina_iomodule_ids, all_iomodule_ds_ids, ina_server_ids,"
            " all_server_avail, ina_ipspeaker_ids, ina_ipspeaker_grp_ids, all_ipspeaker_ds_ids"
            " FROM privilegeprofile WHERE privilege = -2");
    }
};

TEST_F(NoneProfile, DeniesEveryObjectAndOperation) {
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, privilege) VALUES(1, 1), (2, 2);"
        "INSERT INTO camera(id) VALUES(12), (3);"
        "INSERT INTO cameragroup(id) VALUES(4);"
        "INSERT INTO iomodule(id) VALUES(5), (6);"
        "INSERT INTO slaveds(id) VALUES(8), (7);"
        "INSERT INTO emap(id) VALUES(9);"
        "INSERT INTO layout(id) VALUES(10), (11);"
        "INSERT INTO ipspeaker(id) VALUES(13);"
        "INSERT INTO ipspeakergroup(id) VALUES(14);"
        "INSERT INTO privilegepercamera(privprofile_id, ina_live_cam_ids) VALUES(2, '3'), (3, 'of a deleted "
        "one');"
        "INSERT INTO privilegeperdoor(privprofile_id) VALUES(3);");
    Sql(DB_AXISACSCTRL,
        "CREATE TABLE axisdoor(id INTEGER PRIMARY KEY); INSERT INTO axisdoor VALUES(15), (16);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::CreateNonePrivProfile());
        EXPECT_EQ("3||-2||0|3,12|4|7,8|-1|" + kAllDenied +
                      "|9|7,8|10,11|2147483647|10,11|2147483647|9|7,8|5,6|7,8|7,8|0|13|14|7,8\n",
                  Profile());
        EXPECT_EQ("2|3||||||||||||||\n3|3,12|3,12|3,12|3,12|3,12|4|4|4|4|4|7,8|7,8|7,8|7,8|7,8\n",
                  Rows(DB_SYSTEM, kCameraRights));
        EXPECT_EQ("3|15,16|15,16|15,16|15,16|7,8|7,8|7,8|7,8\n", Rows(DB_SYSTEM, kDoorRights));
    }
}

TEST_F(NoneProfile, ReCreationMakesItAgainAndLeavesOneThatIsThere) {
    EXPECT_EQ(0, migrations::ReCreateNonePrivProfile());
    EXPECT_EQ("1||-2||0||||-1|" + kAllDenied +
                  "|||"
                  "|2147483647||2147483647|||||"
                  "|0|||\n",
              Profile());
    Sql(DB_SYSTEM, "UPDATE privilegeprofile SET ina_adv_operator = 'own'; INSERT INTO camera(id) VALUES(3)");
    EXPECT_EQ(0, migrations::ReCreateNonePrivProfile());
    EXPECT_EQ("1|own|\n", Rows(DB_SYSTEM, "SELECT id, ina_adv_operator, inacamids FROM privilegeprofile"));
}

TEST_F(NoneProfile, KindsWithoutATableHaveNoObjects) {
    Sql(DB_SYSTEM,
        "DROP TABLE camera; DROP TABLE ipspeakergroup; DROP TABLE slaveds; INSERT INTO emap(id) VALUES(2);");
    EXPECT_EQ(0, migrations::CreateNonePrivProfile());
    EXPECT_EQ("||2|\n", Rows(DB_SYSTEM,
                             "SELECT inacamids, allcamdsids, ina_emap_ids, ina_ipspeaker_grp_ids"
                             " FROM privilegeprofile"));
}

TEST_F(NoneProfile, IsMadeWholeOrNotAtAll) {
    Sql(DB_SYSTEM,
        "CREATE TRIGGER refuse BEFORE INSERT ON privilegeperdoor BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(-1, migrations::ReCreateNonePrivProfile());
    EXPECT_EQ(1,
              CountInLog("(ReCreateNonePrivProfile): Failed to execute sql: INSERT INTO privilegeprofile("));
    EXPECT_EQ("", Profile());

    Sql(DB_SYSTEM, "ALTER TABLE privilegepercamera DROP COLUMN ina_digiout_cam_ids");
    EXPECT_EQ(0, migrations::CreateNonePrivProfile());
    EXPECT_EQ("", Profile());
}

TEST_F(NoneProfile, MapListsHoldEveryMapAndServer) {
    const std::string query =
        "SELECT id, ina_emap_ids, all_emap_ds_ids, ina_edit_emap_ids, all_edit_emap_ds_ids, ina_layout_ids"
        " FROM privilegeprofile ORDER BY id";
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, privilege, ina_emap_ids, ina_layout_ids) VALUES(3, -2, '77', '6'),"
        "(4, 2, '5', '');"
        "INSERT INTO emap(id) VALUES(9), (5); INSERT INTO slaveds(id) VALUES(2), (1);");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::UpdateMapPrivOfNonePrivProfile());
        EXPECT_EQ("3|5,9|1,2|5,9|1,2|6\n4|5||||\n", Rows(DB_SYSTEM, query));
    }
}

// --- Id lists and the tables by object ---

// Of profile 6, server 7 is no more.
TEST_F(PrivilegeProfiles, ListsByServerAreMerged) {
    Sql(DB_SYSTEM,
        "INSERT INTO slaveds(id) VALUES(1), (3), (4), (6);"
        "INSERT INTO privilegeprofile(id, inacamids, allcamdsids) VALUES(1, '9,8', '5'), (2, '', ''),"
        " (3, '4,-1', '2'), (4, ' 7 ,,x', NULL), (5, '1,2', '3'), (6, '1', '');"
        "INSERT INTO privilegeprofilecam VALUES(2, 1, '12,3'), (2, 4, '-1'), (2, 0, '3,5'), (3, 6, '-1,10'),"
        " (4, 1, ' 2 , b,99999999999,2'), (5, 3, '-1'), (5, 1, '2'), (99, 1, '-1'), (6, 7, '-1'), (6, 7, "
        "'8'),"
        " (6, NULL, '9');");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::UpdatePrivilegeProfile());
        EXPECT_EQ("1|9,8|5\n2|3,5,12|4\n3|4,10|2,6\n4|2,7|\n5|1,2|3\n6|1,9|\n",
                  Rows(DB_SYSTEM, "SELECT id, inacamids, allcamdsids FROM privilegeprofile ORDER BY id"));
    }
    g_missingSchema[DB_SYSTEM] = {{"slaveds", {"*"}}};  // which servers there were nobody knows
    EXPECT_EQ(0, migrations::UpdatePrivilegeProfile());
    g_missingSchema[DB_SYSTEM].clear();
    EXPECT_EQ("1,8,9|7\n",
              Rows(DB_SYSTEM, "SELECT inacamids, allcamdsids FROM privilegeprofile WHERE id = 6"));
}

TEST_F(PrivilegeProfiles, IdsOfWhatIsNoMoreLeaveTheLists) {
    Sql(DB_SYSTEM,
        "INSERT INTO camera(id) VALUES(1), (3); INSERT INTO layout(id) VALUES(2); INSERT INTO emap(id) "
        "VALUES(5);"
        "INSERT INTO privilegepercamera(privprofile_id, ina_live_cam_ids, ina_play_cam_ids, ina_lens_cam_ids,"
        " ina_audio_cam_ids, ina_digiout_cam_ids, ina_live_camgrp_ids, live_allcamds_ids) VALUES"
        "(4, '9,3,0,-7,1', '8', ' 3 , 1', '3,x,,77', NULL, '9', '9'), (6, '8', '1,3', '', '', '4', '', '');"
        "INSERT INTO privilegeprofile(id, inacamids, ina_layout_ids, ina_edit_layout_ids, ina_emap_ids,"
        " ina_edit_emap_ids, ina_server_ids) VALUES(4, '9', '1,2', '2,1', '5,6', '6', '9');");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::RemoveNotExistDataInPrivProfile());
        EXPECT_EQ("4|3,0,-7,1|| 3 , 1|3,x,|||9|9\n6||1,3||||||\n",
                  Rows(DB_SYSTEM,
                       "SELECT privprofile_id, ina_live_cam_ids, ina_play_cam_ids, ina_lens_cam_ids,"
                       " ina_audio_cam_ids, ina_digiout_cam_ids, ina_play_camgrp_ids, ina_live_camgrp_ids,"
                       " live_allcamds_ids FROM privilegepercamera"));
        EXPECT_EQ(
            "9|2|2|5||9\n",
            Rows(DB_SYSTEM,
                 "SELECT inacamids, ina_layout_ids, ina_edit_layout_ids, ina_emap_ids, ina_edit_emap_ids,"
                 " ina_server_ids FROM privilegeprofile"));
    }
    // Tables that are not there, or have just been made, do not tell what there was.
    Sql(DB_SYSTEM,
        "DROP TABLE layout; DELETE FROM camera; UPDATE privilegeprofile SET ina_layout_ids = '7,8';");
    g_missingSchema[DB_SYSTEM] = {{"camera", {"*"}}};
    EXPECT_EQ(0, migrations::RemoveNotExistDataInPrivProfile());
    g_missingSchema[DB_SYSTEM].clear();
    EXPECT_EQ("7,8|5\n", Rows(DB_SYSTEM, "SELECT ina_layout_ids, ina_emap_ids FROM privilegeprofile"));
    EXPECT_EQ("3,0,-7,1\n\n", Rows(DB_SYSTEM, "SELECT ina_live_cam_ids FROM privilegepercamera"));
}

TEST_F(PrivilegeProfiles, DigitalOutputsAreDeniedWhereTheLiveViewIs) {
    Sql(DB_SYSTEM,
        "INSERT INTO privilegepercamera(privprofile_id, ina_live_cam_ids, ina_live_camgrp_ids, "
        "live_allcamds_ids,"
        " ina_digiout_cam_ids, ina_digiout_camgrp_ids, digiout_allcamds_ids) VALUES"
        "(3, '1,2', '4', '5', '', NULL, ''), (4, '', '4', NULL, NULL, NULL, NULL),"
        "(5, '1', '2', '3', '', '', '9'), (6, '', '', '', '', '', '');");
    EXPECT_EQ(0, migrations::UpdatePrivPerCam());
    EXPECT_EQ("3|1,2|4|5\n4||4|\n5|||9\n6|||\n",
              Rows(DB_SYSTEM,
                   "SELECT privprofile_id, ina_digiout_cam_ids, ina_digiout_camgrp_ids, digiout_allcamds_ids"
                   " FROM privilegepercamera"));
}

TEST_F(PrivilegeProfiles, RightsToCamerasStartWithWhatWasDenied) {
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id, inacamids, inacamgrpids, allcamdsids) VALUES"
        "(1, '', '', ''), (2, '3, 1,,x', '2', NULL), (3, '9', '9', '9');"
        "INSERT INTO privilegepercamera(privprofile_id, ina_live_cam_ids) VALUES(3, '5');");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::UpdatePrivProfileAndPrivPerCam());
        EXPECT_EQ("1|||||||||||||||\n2|1,3|1,3|1,3|1,3|1,3|2|2|2|2|2|||||\n3|5||||||||||||||\n",
                  Rows(DB_SYSTEM, kCameraRights));
    }
}

TEST_F(PrivilegeProfiles, DefaultProfilesDenyNoCamera) {
    Sql(DB_SYSTEM,
        "INSERT INTO privilegepercamera VALUES"
        "(1, '1', '1', '1', '1', '1', '2', '2', '2', '2', '2', '3', '3', '3', '3', '3'),"
        "(2, '1', '', '', '', '', '', '', '', '', '', '', '', '', '', ''),"
        "(3, '1', '1', '1', '1', '1', '2', '2', '2', '2', '2', '3', '3', '3', '3', '3');");
    EXPECT_EQ(0, migrations::ClearInaCamsInDefPrivProf());
    EXPECT_EQ("1||||||2|2|2|2|2|3|3|3|3|3\n2|||||||||||||||\n3|1|1|1|1|1|2|2|2|2|2|3|3|3|3|3\n",
              Rows(DB_SYSTEM, kCameraRights));
}

TEST_F(PrivilegeProfiles, RowsOfDeletedProfilesGo) {
    Sql(DB_SYSTEM,
        "INSERT INTO privilegeprofile(id) VALUES(1), (7);"
        "INSERT INTO privilegepercamera(privprofile_id) VALUES(1), (2), (7);"
        "INSERT INTO privilegeperdoor(privprofile_id) VALUES(7), (8);");
    EXPECT_EQ(0, migrations::DeleteNonexistentPrivProfileFromSubTable());
    EXPECT_EQ("1\n7\n", Rows(DB_SYSTEM, "SELECT privprofile_id FROM privilegepercamera ORDER BY 1"));
    EXPECT_EQ("7\n", Rows(DB_SYSTEM, "SELECT privprofile_id FROM privilegeperdoor"));

    Sql(DB_SYSTEM, "DROP TABLE privilegepercamera; INSERT INTO privilegeperdoor(privprofile_id) VALUES(8);");
    EXPECT_EQ(0, migrations::DeleteNonexistentPrivProfileFromSubTable());
    EXPECT_EQ("7\n", Rows(DB_SYSTEM, "SELECT privprofile_id FROM privilegeperdoor"));
}

TEST_F(PrivilegeProfiles, AccountsGetTheirProfileAsAList) {
    Sql(DB_SYSTEM,
        "INSERT INTO account VALUES(1, 'a', 5, ''), (2, 'b', 6, NULL), (3, 'c', 7, '8,9'), (4, 'd', 0, ''),"
        " (5, 'e', -2, ''), (6, 'f', NULL, ''), (7, 'g', 'x', '');");
    for (int run = 0; run < 2; ++run) {
        EXPECT_EQ(0, migrations::UpdateVGAccountPrivProfileList());
        EXPECT_EQ(
            "1|5|text\n2|6|text\n3|8,9|text\n4||text\n5||text\n6||text\n7||text\n",
            Rows(DB_SYSTEM, "SELECT id, privprofileids, typeof(privprofileids) FROM account ORDER BY id"));
    }
}

TEST_F(PrivilegeProfiles, WithoutTheirTablesOrColumnsThereIsNothingToDo) {
    const std::array functions = {
        migrations::UpdatePrivilegeProfile,         migrations::UpdatePrivProfileAndPrivPerCam,
        migrations::ClearInaCamsInDefPrivProf,      migrations::DeleteNonexistentPrivProfileFromSubTable,
        migrations::CreateNonePrivProfile,          migrations::UpdateVGAccountPrivProfileList,
        migrations::UpdateMapPrivOfNonePrivProfile, migrations::ReCreateNonePrivProfile,
    };
    Sql(DB_SYSTEM,
        "DROP TABLE privilegeprofile; CREATE TABLE privilegeprofile(id INTEGER PRIMARY KEY, privilege "
        "INTEGER);"
        "DROP TABLE privilegepercamera; CREATE TABLE privilegepercamera(privprofile_id INTEGER PRIMARY KEY);"
        "DROP TABLE account; CREATE TABLE account(id INTEGER PRIMARY KEY, privprofileid INTEGER);"
        "INSERT INTO privilegeprofile VALUES(3, -2), (4, 2); INSERT INTO account VALUES(1, 4);");
    for (size_t i = 0; i < functions.size(); ++i)
        EXPECT_EQ(0, functions[i]()) << i;
    EXPECT_EQ("3|-2\n4|2\n", Rows(DB_SYSTEM, "SELECT * FROM privilegeprofile"));

    Sql(DB_SYSTEM,
        "DROP TABLE privilegeprofile; DROP TABLE privilegepercamera; DROP TABLE privilegeperdoor;"
        "DROP TABLE privilegeprofilecam; DROP TABLE account;");
    for (size_t i = 0; i < functions.size(); ++i)
        EXPECT_EQ(0, functions[i]()) << i;
    EXPECT_EQ(0, CountInLog("Failed to execute sql"));
}

// --- Whole systems, by the real program ---

class PrivilegeUpgrade : public SystemTree {
protected:
    static constexpr uint32_t kCurrentBuild = 9760;

    static void Upgrade(uint32_t oldBuild) {
        InstallSchemaFiles();
        for (int db = DB_SYSTEM + 1; db < DB_INSTANCE_COUNT; ++db)
            if (!std::filesystem::exists(VGDB::GetDBPath(static_cast<DB_INSTANCE>(db))))
                CreateFromSchema(static_cast<DB_INSTANCE>(db));
        EXPECT_EQ(0, RunUpgrader(std::to_string(oldBuild))) << Log();
    }

    static std::string Everything() {
        return Rows(DB_SYSTEM, "SELECT * FROM privilegeprofile ORDER BY id") +
               Rows(DB_SYSTEM, kCameraRights) + Rows(DB_SYSTEM, kDoorRights) +
               Rows(DB_SYSTEM, "SELECT * FROM account ORDER BY id");
    }

    static std::string Profiles() {
        return Rows(
            DB_SYSTEM,
            "SELECT id, name, privilege, ina_adv_oper, ina_adv_operator FROM privilegeprofile ORDER BY id");
    }
};

TEST_F(PrivilegeUpgrade, Build3000) {
    WriteFile(Path("/etc/passwd"), "anna:x:1000:100::/:\n");
    Sql(DB_SYSTEM,
        "CREATE TABLE privilegeprofile(id INTEGER PRIMARY KEY, name TEXT, privilege INTEGER, inacamids TEXT,"
        " inacamgrpids TEXT, allcamdsids TEXT, ina_operation INTEGER, ina_adv_oper INTEGER DEFAULT 0,"
        " custom_uid TEXT);"
        "INSERT INTO privilegeprofile VALUES(1, 'Manager', 0, '', '', '', 0, 0, '0'),"
        " (2, 'Viewer', 1, '4', '', '', 0, 0, '0'),"
        " (3, 'Guards', 1, '3,1', '2', '1', 6, 3, '0'),"
        " (4, 'anna', 0, '', '', '', 0, 0, '0x3e8');"
        "CREATE TABLE camera(id INTEGER PRIMARY KEY); INSERT INTO camera VALUES(1), (3), (4);"
        "CREATE TABLE account(id INTEGER PRIMARY KEY, privprofileid INTEGER); INSERT INTO account VALUES(1, "
        "3);");
    Upgrade(3000);

    // Levels had the old numbering while the operations were denied: 0 stood for the managers, 1 for the
    // spectators. Bits 18, 20, 22, 23, 26, 28 and 52 are those that level 1 is denied.
    const std::string guards =
        "1100000000"
        "0000000010"
        "1011001010"
        "0000000000"
        "0000000000"
        "0010000000"
        "0000";
    const std::string ones64(64, '1');
    EXPECT_EQ("1|All-Object Manager|1|0|" + kAllAllowed +                        //
                  "\n2|All-Object Spectator|2|4503599976808448|" + kSpectator +  //
                  "\n3|Guards|2|4503599976808451|" + guards + ones64 +           //
                  "\n4|custom_anna|1|0|" + std::string(128, '0') +               //
                  "\n5||-1|-1|" + kAllDenied +                                   // renumbered like the others
                  "\n6||0|0|" + kAllAllowed +                                    //
                  "\n7||-2|-1|" + kAllDenied + "\n",
              Profiles());
    EXPECT_EQ(
        "1|||||||||||||||\n"
        "2|||||||||||||||\n"
        "3|1,3|1,3|1,3|1,3|1,3|2|2|2|2|2|1|1|1|1|1\n"
        "4|||||||||||||||\n"
        "5|1,3,4|1,3,4|1,3,4|1,3,4|1,3,4||||||||||\n"
        "7|1,3,4|1,3,4|1,3,4|1,3,4|1,3,4||||||||||\n",
        Rows(DB_SYSTEM, kCameraRights));
    EXPECT_EQ("1|3|3\n", Rows(DB_SYSTEM, "SELECT id, privprofileid, privprofileids FROM account"));

    const std::string before = Everything();
    Upgrade(kCurrentBuild);
    EXPECT_EQ(before, Everything());
    WriteFile(Path("/etc/passwd"), "annette:x:1000:100::/:\n");
    Upgrade(kCurrentBuild);
    EXPECT_EQ("custom_annette\n", Rows(DB_SYSTEM, "SELECT name FROM privilegeprofile WHERE id = 4"));
}

TEST_F(PrivilegeUpgrade, Build6500) {
    WriteFile(Path("/etc/passwd"), "bela:x:1000:100::/:\n");
    CreateFromSchema(DB_SYSTEM);
    const std::string ones70(70, '1'), exact79 = "0" + std::string(78, '1');
    Sql(DB_SYSTEM, "UPDATE privilegeprofile SET name = name || '!', ina_adv_operator = '" + kAllDenied +
                       "';"
                       "INSERT INTO privilegeprofile(id, name, privilege, custom_uid, ina_adv_operator, "
                       "ina_emap_ids) VALUES"
                       "(3, '', 0, '0', '', ''), (4, 'custom_old', 2, '01750', '" +
                       ones70 +
                       "', '1'),"
                       "(5, 'crew', 1, '0', '" +
                       exact79 + "', ''), (6, '', -2, '0', '" + kAllDenied +
                       "', '1'),"
                       "(7, 'odd', NULL, '0', '101', '');"
                       "INSERT INTO emap(id) VALUES(4), (1); INSERT INTO slaveds(id) VALUES(3), (2);"
                       "INSERT INTO account VALUES(1, 'a', 5, ''), (2, 'b', 0, ''), (3, 'c', 4, '4,2');"
                       "INSERT INTO privilegepercamera(privprofile_id) VALUES(99);");
    for (int run = 0; run < 2; ++run) {
        Upgrade(6500);
        EXPECT_EQ("1|All-Object Manager!|1|0|" + kAllAllowed +                          //
                      "\n2|All-Object Spectator!|2|106428313966200864|" + kSpectator +  //
                      "\n3||0|0|" + kAllAllowed +                                       //
                      "\n4|custom_bela|2|0|" + ones70 + "111111111" +                   //
                      "\n5|crew|1|0|" + exact79 +                                       //
                      "\n6||-2|0|" + kAllDenied +                                       //
                      "\n7|odd||0|" + kAllAllowed + "\n",
                  Profiles());
        EXPECT_EQ("4|1|||\n6|1,4|2,3|1,4|2,3\n",
                  Rows(DB_SYSTEM,
                       "SELECT id, ina_emap_ids, all_emap_ds_ids, ina_edit_emap_ids, all_edit_emap_ds_ids"
                       " FROM privilegeprofile WHERE ina_emap_ids <> '' ORDER BY id"));
        EXPECT_EQ("1|5|5\n2|0|\n3|4|4,2\n",
                  Rows(DB_SYSTEM, "SELECT id, privprofileid, privprofileids FROM account ORDER BY id"));
        EXPECT_EQ("99|||||||||||||||\n", Rows(DB_SYSTEM, kCameraRights))
            << "rows of lower thresholds do not run";
    }
}

}  // namespace
