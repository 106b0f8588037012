// Cameras and their streams.
#include <list>

#include "platform/camera/camera.h"
#include "platform/notification/home_mode_setting.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/implement/integrate_external_profile_to_cam.h"
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/once.h"

namespace migrations {

// Not settled: table camera: the RTSP transport protocol.
int UpgradeRtspProtocol() { return 0; }

// Not settled: table camera: the mobile stream takes the live-view stream.
int FillMobileStmByLiveviewStm() { return 0; }

// Not settled: tables patrol and patrolPresetData: how long a patrol stays at a preset.
int CreatePatrolPresetStaytime() { return 0; }

// Not settled: table camera: stream numbers of the user interface.
int SetUiStmNoList() { return 0; }

// Not settled: object size of the cameras' motion detection.
int UpdateCameraLiveObjectSize() { return 0; }

// Not settled: a table of camera device outputs, filled from the cameras.
int InsertCamDeviceoutputTable() { return 0; }

// Not settled: a table of camera detection settings, filled from the cameras.
int InsertCamDetSettingTable() { return 0; }

// Not settled: table camera: format of the user interface's stream numbers.
int ChangeUiStmNoListFormat() { return 0; }

// Not settled: motion detection regions of the cameras.
int UpdateMotionDetectionRegion() { return 0; }

// Not settled: table camera: how RTSP sessions are kept alive.
int CreateRtspKeepAlive() { return 0; }

// Not settled: table camera: codec optimisation.
int CreateCodecOptimization() { return 0; }

int CopyLiveviewModeToMobile() {
    return ExecuteSql(DB_SYSTEM, "UPDATE camera SET mobile_liveview_mode = liveview_mode;",
                      "Failed to execute sql: %s\n");
}

// Not settled: passive infrared settings of the cameras.
int UpdatePir() { return 0; }

// Not settled: camera names and recording folders that differ in case only.
int RenameCaseSensitiveCamNameAndRecFolder() { return 0; }

// Not settled: table camera: the list of streams by purpose.
int UpdateCamProfileSettingList() { return 0; }

// Not settled: device definitions of a retired vendor entry.
int RemovePsiaVendorModelPath() { return 0; }

// Not settled: table camera: codec optimisation as text.
int CreateCodecOptimizationText() { return 0; }

// Not settled: time synchronisation of the cameras with this host.
int ForceSyncTimeWithHost() { return 0; }

// Not settled: table camera: the columns of the second and third stream.
int UpdateMultiStreamDBColumn() { return 0; }

// Not settled: table camera: the PTZ speed.
int UpdatePTZSpeedKeepOrigin() { return 0; }

// Not settled: default stream profiles.
int UpdateDefaultProfile() { return 0; }

// Not settled: table camera, column removable_lens.
int InsertRemovableLens() { return 0; }

// Not settled: table camera, column cap_file_path: from the shared folder to the package's target folder.
int MoveCapInfoPath() { return 0; }

// Not settled: table camera, column last_restart_time.
int UpdateLastRestartAndSyncTime() { return 0; }

// Not settled: names of camera ports.
int AddCameraPortName() { return 0; }

// Not settled: camera settings: key acap_live_view_alert_val.
int UpdateAcapLiveViewAlertVal() { return 0; }

// Not settled: settings of the local cameras.
int UpdateLocalCamSettings() { return 0; }

// Not settled: camera settings: key acap_custom_detection_val.
int UpdateAcapCustomDetectionVal() { return 0; }

// Not settled: pairings of I/O module ports.
int UpdatePortPairing() { return 0; }

// Not settled: detection by camera applications and its notification filter keys.
int UpdateAppVMDSetting() { return 0; }

// Not settled: table camera, column ext_di_port.
int UpdateCamExtDIPort() { return 0; }

// Not settled: camera settings: keys custom1_app_det and custom2_app_det.
int UpdateCustomAppDetection() { return 0; }

// Not settled: home-mode recording of one vendor's detections.
int CreateDahuaIVSHomemodeCustomRecordRec() { return 0; }

// Not settled: settings files of local cameras that have none.
int CreateMissingCamSettingsConf() { return 0; }

// Not settled: names of camera capability files.
int RenameCapFile() { return 0; }

int IntegrateExternalProfileToCam() { return implement::IntegrateExternalProfileToCam().Run(); }

// Not settled: device type of thermal cameras.
int UpdateThermalCameraDeviceType() { return 0; }

int SaveAllCamAndHomeMode() {
    std::list<Camera> cameras;
    if (VGDB::CheckTableExist(DB_SYSTEM, gszTableCamera) && CamGetList(CamFilterRule(), cameras))
        return -1;
    int result = 0;
    for (const Camera& camera : cameras) {
        if (camera.Save())
            result = -1;
    }
    return HomeModeSetting::Save() ? -1 : result;
}

// Not settled: table orvacam: time zones.
int UpdateOrvaCamTimeZone() { return 0; }

// Not settled: table camera: restart interval of the maker's own cameras.
int UpdateOrvacamAutoRestartInterval() { return 0; }

// Not settled: audio formats of cameras and IP speakers.
int ChangeAudioFormat() { return 0; }

// Not settled: log archive settings of the maker's own cameras.
int InitOrvacamLogArchSetting() { return 0; }

// Not settled: the maker's own cameras: day_to_night_threshold, night_to_day_threshold and ir_led_intensity.
int CorrectOrvacamOptimizeSettings() { return 0; }

// Not settled: table camera: type of the paired speaker.
int UpdatePairedSpeakerType() {
    return RunOnce("upgrade_camera_paired_speaker_type",
                   "Failed to set Update Camera paired speaker type in setting conf.\n", NotSettled);
}

// Not settled: automatic firmware upgrade of the maker's own cameras at start.
int OrvacamStartUpAutoUpgrade() { return 0; }

}  // namespace migrations
