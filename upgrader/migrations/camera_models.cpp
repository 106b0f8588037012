// Camera models, resolutions and field-of-view texts that later device definitions no longer know.
//
// Every statement tests the old value, so a second run finds nothing. The statements stand as they reach the
// database, byte for byte; each is a call of its own, and what ran before a failure stays applied.
#include <initializer_list>

#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace {

constexpr const char* kError = "VGDBExecute error\n";
constexpr const char* kErrorWithCommand = "VGDBExecute error, command: %s\n";

// Runs the statements in order up to the first that fails, which is logged.
int RunInOrder(const char* failure, std::initializer_list<std::string> statements,
               LogSite site = LogSite::Here()) {
    for (const std::string& statement : statements)
        if (ExecuteSql(DB_SYSTEM, statement, failure, site))
            return -1;
    return 0;
}

}  // namespace

// Long statements stand one clause a line.
// clang-format off
namespace migrations {

int PatchEtrovisionCamModelDB() {
    return RunInOrder(kError, {
        "UPDATE camera SET model = substr(model, 1, 7)"
        " WHERE vendor = 'ETROVISION' AND model like 'EV8%'",
    });
}

int PatchTrendnetIP612DB() {
    return RunInOrder(kError, {
        "UPDATE camera SET model = 'TV-IP612WN(NTSC)' WHERE vendor = 'TRENDNet' AND model = 'TV-IP612WN'",
        "UPDATE camera SET model = 'TV-IP612P(NTSC)' WHERE vendor = 'TRENDNet' AND model = 'TV-IP612P'",
    });
}

// Only the recording resolution is tested; the live resolution is overwritten together with it.
int PatchAirLiveReso() {
    const std::string models =
        "(model = 'AirCam OD-2025HD' OR model = 'AirCam OD-2025PHD'"
        " OR model = 'AirCam WN-2600HD' OR model = 'AirCam POE-2600HD')";
    return RunInOrder(kError, {
        "UPDATE camera SET resolution = '160x90',live_resolution = '160x90'  WHERE "
            + models + " AND resolution = '160x80'",
        "UPDATE camera SET resolution = '320x180',live_resolution = '320x180' WHERE "
            + models + " AND resolution = '320x176'",
        "UPDATE camera SET resolution = '640x360',live_resolution = '640x360' WHERE "
            + models + " AND resolution = '640x352'",
    });
}

int PatchGrandstreamReso() {
    return RunInOrder(kError, {
        "UPDATE camera SET model = 'GXV3501(NTSC)' WHERE vendor = 'Grandstream' AND model = 'GXV3501'",
        "UPDATE camera SET model = 'GXV3504(NTSC)' WHERE vendor = 'Grandstream' AND model = 'GXV3504'",
        "UPDATE camera SET model = 'GXV3500(NTSC)' WHERE vendor = 'Grandstream' AND model = 'GXV3500'",
    });
}

// The model has its old name still: RenameGrandstreamModels comes later.
int RemoveGrandstreamMjpeg() {
    return RunInOrder(kError, {
        "UPDATE camera SET video_type = 3, enable_audio = '0', streaming_type = 1"
        " WHERE vendor = 'Grandstream' AND model = 'GXV3662 HD' AND video_type = 1",
    });
}

int PatchHIKVISIONDS2CD832F() {
    return RunInOrder(kError, {
        "UPDATE camera SET model = 'DS2CD832F(PAL)', resolution = '704x576', live_resolution = '704x576'"
        "  WHERE vendor = 'HIKVISION' AND model = 'DS2CD832F'"
        " AND (resolution = 'VGA' OR resolution = '4CIF')",

        "UPDATE camera SET model = 'DS2CD832F(PAL)', resolution = '528x384', live_resolution = '528x384'"
        "  WHERE vendor = 'HIKVISION' AND model = 'DS2CD832F'"
        " AND resolution = 'DCIF'",

        "UPDATE camera SET model = 'DS2CD832F-E(PAL)', resolution = '704x576', live_resolution = '704x576'"
        "  WHERE vendor = 'HIKVISION' AND model = 'DS2CD832F-E'"
        " AND (resolution = 'VGA' OR resolution = '4CIF')",

        "UPDATE camera SET model = 'DS2CD832F-E(PAL)', resolution = '528x384', live_resolution = '528x384'"
        "  WHERE vendor = 'HIKVISION' AND model = 'DS2CD832F-E'"
        " AND resolution = 'DCIF'",
    });
}

int RenameGrandstreamModels() {
    static const struct {
        std::string newModel;
        std::string oldModel;
    } renames[] = {
        {"GXV3601_HD",   "GXV3601 HD"},
        {"GXV3601_LL",   "GXV3601 LL"},
        {"GXV3611_LL",   "GXV3611 LL"},
        {"GXV3611_HD",   "GXV3611 HD"},
        {"GXV3615WP_HD", "GXV3615WP HD"},
        {"GXV3651_FHD",  "GXV3651 FHD"},
        {"GXV3662_HD",   "GXV3662 HD"},
    };
    for (const auto& [newModel, oldModel] : renames)
        if (RunInOrder(kErrorWithCommand, {
                "UPDATE camera SET model = '" + newModel +
                "' WHERE vendor = 'Grandstream' AND model = '" + oldModel + "'",
            }))
            return -1;
    return 0;
}

int PatchAxisM3006Reso() {
    return RunInOrder(kError, {
        "UPDATE camera SET resolution = '1920x1080'"
        " WHERE model = 'M3006' AND (resolution = '2048x1536' OR resolution = '1600x1200')",

        "UPDATE camera SET live_resolution = '1920x1080'"
        " WHERE model = 'M3006' AND (live_resolution = '2048x1536' OR live_resolution = '1600x1200')",
    });
}

int PatchAxisP3384() {
    return RunInOrder(kErrorWithCommand, {
        "UPDATE camera SET model='P3384-V' WHERE vendor='AXIS' AND model='P3384'",
    });
}

int PatchMessoaNcb858() {
    return RunInOrder(kErrorWithCommand, {
        "UPDATE camera SET tv_standard=2 WHERE vendor='Messoa' AND model='NCB858' AND tv_standard=0",
    });
}

int RenameFovDesc() {
    return RunInOrder(kErrorWithCommand, {
        "UPDATE camera SET fov = 'Turbo Picture (Max. 15FPS)'"
        " WHERE fov = 'Turbo Picture (offers best picture quality up at megapixel resolution"
        " with a maximum frame rate of 15FPS)'"
        " AND vendor = 'COMPRO'",

        "UPDATE camera SET fov = 'Motion Adaptive (Max. 30FPS)'"
        " WHERE fov = 'Motion Adaptive (offers highest frame rate up to 30FPS at a lower max resolution)'"
        " AND vendor = 'COMPRO'",

        "UPDATE camera SET fov = 'Video frame rate first (Max. 800x600)'"
        " WHERE fov = 'Video frame rate first (Maximum frame size 800x600)'"
        " AND vendor = 'Vivotek'",
    });
}

}  // namespace migrations
