#include <algorithm>
#include <sstream>
#include <vector>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

struct Patch {
    const char* name;
    int (*migration)();
    const char* failure;  // what is logged when there is no camera table
    const char* changed;  // rows of the old system below that it changes, as they are afterwards
};

// In the order of the registry, which lets RemoveGrandstreamMjpeg meet a model before it is renamed.
const Patch kPatches[] = {
    {"PatchEtrovisionCamModelDB", migrations::PatchEtrovisionCamModelDB, "VGDBExecute error\n",
     "10|ETROVISION|EV8180U||||1|1|2|0\n"},
    {"PatchTrendnetIP612DB", migrations::PatchTrendnetIP612DB, "VGDBExecute error\n",
     "20|TRENDNet|TV-IP612WN(NTSC)||||1|1|2|0\n"
     "21|TRENDNet|TV-IP612P(NTSC)||||1|1|2|0\n"},
    // Rows 31 and 33 had live resolutions of their own.
    {"PatchAirLiveReso", migrations::PatchAirLiveReso, "VGDBExecute error\n",
     "30|AirLive|AirCam OD-2025HD|160x90|160x90||1|1|2|0\n"
     "31|AirLive|AirCam OD-2025PHD|320x180|320x180||1|1|2|0\n"
     "32|AirLive|AirCam WN-2600HD|640x360|640x360||1|1|2|0\n"
     "33|Relabelled|AirCam POE-2600HD|320x180|320x180||1|1|2|0\n"},
    {"PatchGrandstreamReso", migrations::PatchGrandstreamReso, "VGDBExecute error\n",
     "40|Grandstream|GXV3501(NTSC)||||1|1|2|0\n"
     "41|Grandstream|GXV3504(NTSC)||||1|1|2|0\n"
     "42|Grandstream|GXV3500(NTSC)||||1|1|2|0\n"},
    {"RemoveGrandstreamMjpeg", migrations::RemoveGrandstreamMjpeg, "VGDBExecute error\n",
     "43|Grandstream|GXV3662 HD||||3|0|1|0\n"},
    {"PatchHIKVISIONDS2CD832F", migrations::PatchHIKVISIONDS2CD832F, "VGDBExecute error\n",
     "60|HIKVISION|DS2CD832F(PAL)|704x576|704x576||1|1|2|0\n"
     "61|HIKVISION|DS2CD832F(PAL)|528x384|528x384||1|1|2|0\n"
     "62|HIKVISION|DS2CD832F-E(PAL)|704x576|704x576||1|1|2|0\n"
     "63|HIKVISION|DS2CD832F-E(PAL)|528x384|528x384||1|1|2|0\n"},
    {"RenameGrandstreamModels", migrations::RenameGrandstreamModels,
     "VGDBExecute error, command: UPDATE camera SET model = 'GXV3601_HD'"
     " WHERE vendor = 'Grandstream' AND model = 'GXV3601 HD'\n",
     "43|Grandstream|GXV3662_HD||||3|0|1|0\n"
     "44|Grandstream|GXV3662_HD||||2|1|2|0\n"
     "50|Grandstream|GXV3601_HD||||1|1|2|0\n"
     "51|Grandstream|GXV3601_LL||||1|1|2|0\n"
     "52|Grandstream|GXV3611_LL||||1|1|2|0\n"
     "53|Grandstream|GXV3611_HD||||1|1|2|0\n"
     "54|Grandstream|GXV3615WP_HD||||1|1|2|0\n"
     "55|Grandstream|GXV3651_FHD||||1|1|2|0\n"},
    {"PatchAxisM3006Reso", migrations::PatchAxisM3006Reso, "VGDBExecute error\n",
     "70|AXIS|M3006|1920x1080|1920x1080||1|1|2|0\n"
     "71|AXIS|M3006|640x480|1920x1080||1|1|2|0\n"},
    {"PatchAxisP3384", migrations::PatchAxisP3384,
     "VGDBExecute error, command: UPDATE camera SET model='P3384-V' WHERE vendor='AXIS' AND model='P3384'\n",
     "72|AXIS|P3384-V||||1|1|2|0\n"},
    {"PatchMessoaNcb858", migrations::PatchMessoaNcb858,
     "VGDBExecute error, command: UPDATE camera SET tv_standard=2"
     " WHERE vendor='Messoa' AND model='NCB858' AND tv_standard=0\n",
     "80|Messoa|NCB858||||1|1|2|2\n"},
    {"RenameFovDesc", migrations::RenameFovDesc,
     "VGDBExecute error, command: UPDATE camera SET fov = 'Turbo Picture (Max. 15FPS)'"
     " WHERE fov = 'Turbo Picture (offers best picture quality up at megapixel resolution"
     " with a maximum frame rate of 15FPS)' AND vendor = 'COMPRO'\n",
     "90|COMPRO|IP570|||Turbo Picture (Max. 15FPS)|1|1|2|0\n"
     "91|COMPRO|IP570|||Motion Adaptive (Max. 30FPS)|1|1|2|0\n"
     "92|Vivotek|IP8161|||Video frame rate first (Max. 800x600)|1|1|2|0\n"},
};

class CameraModelsTest : public SystemTree {
protected:
    static void CreateOldSystem() {
        Sql(DB_SYSTEM,
            "CREATE TABLE camera(id INTEGER PRIMARY KEY, vendor TEXT, model TEXT, resolution TEXT DEFAULT '',"
            " live_resolution TEXT DEFAULT '', fov TEXT DEFAULT '', video_type INTEGER DEFAULT 1,"
            " enable_audio INTEGER DEFAULT 1, streaming_type INTEGER DEFAULT 2, tv_standard INTEGER DEFAULT "
            "0);"
            "INSERT INTO camera(id, vendor, model) VALUES"
            " (10, 'ETROVISION', 'EV8180UA-C'), (11, 'ETROVISION', 'EV6150A'), (12, 'Other', 'EV8180UA-C'),"
            " (20, 'TRENDNet', 'TV-IP612WN'), (21, 'TRENDNet', 'TV-IP612P'), (22, 'Other', 'TV-IP612P'),"
            " (40, 'Grandstream', 'GXV3501'), (41, 'Grandstream', 'GXV3504'), (42, 'Grandstream', 'GXV3500'),"
            " (43, 'Grandstream', 'GXV3662 HD'), (44, 'Grandstream', 'GXV3662 HD'),"
            " (45, 'Other', 'GXV3662 HD'), (50, 'Grandstream', 'GXV3601 HD'),"
            " (51, 'Grandstream', 'GXV3601 LL'), (52, 'Grandstream', 'GXV3611 LL'),"
            " (53, 'Grandstream', 'GXV3611 HD'), (54, 'Grandstream', 'GXV3615WP HD'),"
            " (55, 'Grandstream', 'GXV3651 FHD'), (56, 'Grandstream', 'GXV3651'),"
            " (72, 'AXIS', 'P3384'), (73, 'AXIS', 'P3384-VE'), (80, 'Messoa', 'NCB858'), (81, 'Messoa', "
            "'NCB858');"
            "INSERT INTO camera(id, vendor, model, resolution, live_resolution) VALUES"
            " (30, 'AirLive', 'AirCam OD-2025HD', '160x80', '160x80'),"
            " (31, 'AirLive', 'AirCam OD-2025PHD', '320x176', '640x352'),"
            " (32, 'AirLive', 'AirCam WN-2600HD', '640x352', '640x352'),"
            " (33, 'Relabelled', 'AirCam POE-2600HD', '320x176', '1280x720'),"
            " (34, 'AirLive', 'AirCam POE-2600HD', '1280x720', '320x176'),"
            " (35, 'AirLive', 'AirCam WN-200HD', '320x176', '320x176'),"
            " (60, 'HIKVISION', 'DS2CD832F', '4CIF', 'CIF'), (61, 'HIKVISION', 'DS2CD832F', 'DCIF', 'QCIF'),"
            " (62, 'HIKVISION', 'DS2CD832F-E', 'VGA', 'VGA'), (63, 'HIKVISION', 'DS2CD832F-E', 'DCIF', "
            "'DCIF'),"
            " (64, 'HIKVISION', 'DS2CD832F', 'CIF', '4CIF'),"
            " (70, 'AXIS', 'M3006', '2048x1536', '1600x1200'), (71, 'AXIS', 'M3006', '640x480', '2048x1536'),"
            " (74, 'AXIS', 'M3007', '2048x1536', '2048x1536');"
            "INSERT INTO camera(id, vendor, model, fov) VALUES"
            " (90, 'COMPRO', 'IP570', 'Turbo Picture (offers best picture quality up at megapixel resolution"
            " with a maximum frame rate of 15FPS)'),"
            " (91, 'COMPRO', 'IP570',"
            "  'Motion Adaptive (offers highest frame rate up to 30FPS at a lower max resolution)'),"
            " (92, 'Vivotek', 'IP8161', 'Video frame rate first (Maximum frame size 800x600)'),"
            " (93, 'COMPRO', 'IP8161', 'Video frame rate first (Maximum frame size 800x600)');"
            "UPDATE camera SET video_type = 2 WHERE id = 44;"
            "UPDATE camera SET tv_standard = 1 WHERE id = 81;");
    }

    static std::vector<std::string> Cameras() {
        std::istringstream text(Rows(DB_SYSTEM, "SELECT * FROM camera ORDER BY id"));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line + '\n');
        return lines;
    }

    // The rows that the migration changes.
    static std::string Changed(const Patch& patch) {
        const std::vector<std::string> before = Cameras();
        EXPECT_EQ(0, patch.migration()) << patch.name;
        const std::vector<std::string> after = Cameras();
        std::string changed;
        for (const std::string& line : after)
            if (std::find(before.begin(), before.end(), line) == before.end())
                changed += line;
        EXPECT_EQ(before.size(), after.size()) << patch.name;
        return changed;
    }
};

TEST_F(CameraModelsTest, EachChangesItsModelsOnly) {
    CreateOldSystem();
    for (const Patch& patch : kPatches)
        EXPECT_EQ(patch.changed, Changed(patch)) << patch.name;
    for (const Patch& patch : kPatches)
        EXPECT_EQ("", Changed(patch)) << patch.name << " again";
    EXPECT_EQ("", Log());
}

TEST_F(CameraModelsTest, FailureIsLoggedUnderTheMigrationsName) {
    Sql(DB_SYSTEM, "CREATE TABLE other(id);");
    for (const Patch& patch : kPatches) {
        EXPECT_EQ(-1, patch.migration()) << patch.name;
        EXPECT_EQ(1, CountInLog(std::string("(") + patch.name + "): " + patch.failure))
            << patch.name << Log();
    }
}

TEST_F(CameraModelsTest, FirstFailureEndsTheMigrationAndKeepsWhatRan) {
    CreateOldSystem();
    Sql(DB_SYSTEM,
        "CREATE TRIGGER full BEFORE UPDATE ON camera WHEN new.resolution = '528x384'"
        " BEGIN SELECT RAISE(ABORT, 'disk full'); END;");
    EXPECT_EQ(-1, migrations::PatchHIKVISIONDS2CD832F());
    EXPECT_EQ("60|DS2CD832F(PAL)|704x576\n61|DS2CD832F|DCIF\n62|DS2CD832F-E|VGA\n",
              Rows(DB_SYSTEM, "SELECT id, model, resolution FROM camera WHERE id BETWEEN 60 AND 62"));
}

}  // namespace
