// Recordings, snapshots, bookmarks, edge storage and where they are kept.
#include "upgrader/implement/integrate_external_pre_post_rec_time_to_cam.h"
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/migrations/notification_mail.h"
#include "upgrader/once.h"

namespace migrations {
namespace {
namespace once {

int IntegratePrePostRecTimeOnce() { return implement::IntegrateExternalPrePostRecTimeToCam().Run(); }

}  // namespace once
}  // namespace

// Not settled: table event: events of recording servers.
int RemoveSlaveEvtInEvtTable() { return 0; }

// Not settled: tables event and eventmount: external recordings become manual ones.
int EventExternalToManual() { return 0; }

// Not settled: table eventmount: ids of edge-storage recordings.
int EventAddEdgeStorageRecId() { return 0; }

// Not settled: edge-storage settings, taken from table camera.
int InsertEdgeStorageSettingFromCamera() { return 0; }

// Not settled: table edgevideoclip: status of the clips.
int UpdateEdgeClipStatus() { return 0; }

// Not settled: event tables: thumbnails of local events beyond a kept count.
int RemoveLocalThumbnail() { return 0; }

// Not settled: tables camera, camera_integration and camera_integration_tmp: digital-input schedules become
// custom ones.
int UpgradeRecDISchToCustomSch1() { return 0; }

// Not settled: table event.
int RemoveRecordingEvent() { return 0; }

// Not settled: table camera: recording folders that are not named as their camera.
int SetRecFolderIfCamNameIsNotSame() { return 0; }

// Not settled: quota and size of the recording shares.
int AddQuotaAndSizeToRecShareDb() { return 0; }

// Not settled: paths of the recording shares.
int RestoreSharePath() { return 0; }

// Not settled: settings keys snapshot_*, which become per-user settings.
int ConvertSnapshotSettings() { return 0; }

// Not settled: video time of snapshots.
int SetVideoTmEqualToCreateTm() { return 0; }

// Not settled: the snapshot folder and the paths of table snapshot.
int ChangeSnapshotDir() { return 0; }

// Not settled: owner of the snapshot files.
int CheckAndUpdateSnapshotOwner() { return 0; }

// Not settled: the point-of-sale folder @POS, renamed to @Transactions.
int RenameTransactionDirectory() { return 0; }

// The second mail address goes; what becomes of the snapshots' sort_info and naming_rule is not settled.
int UpdateSnapshotSortAndNamingRule() { return ClearDuplicateNotiMail(); }

// Not settled: default storage of analytics recordings.
int InsertDefaultIVAStoragePath() { return 0; }

// Not settled: table sharedfolderstorage, column application_id by folder name.
int UpdateSharedFolderApplicationId() { return 0; }

// Not settled: column enable_rec_limit, cleared for ids that are worked out.
int DisableRecLimit() { return 0; }

// Not settled: data of external events.
int UpdateExtEventData() { return 0; }

// Not settled: settings of edge storage.
int UpdateEdgeStorageSetting() {
    return RunOnce("upgrade_edge_storage_setting",
                   "Failed to set Update Edge Storage Setting in setting conf.\n", NotSettled);
}

// Not settled: events that were being written: column writingEvtPath and its files.
int ResetWritingEvtPath() { return 0; }

// Not settled: default storage of face recordings.
int InsertDefaultFaceStoragePath() { return 0; }

// Not settled: bookmarks: duration and map.
int UpdateBookmarkDurationAndMap() { return 0; }

// Not settled: owner of the recording log files of the cameras.
int ChownCamReclog() {
    return RunOnce("chown_cam_reclog", "Failed to set Update Manager value in setting conf.\n", NotSettled);
}

int IntegratePrePostRecTimeOnce() {
    return RunOnce("upgrade_integrate_pre_post_rec", kFailedToSetFlag, once::IntegratePrePostRecTimeOnce);
}

// Not settled: frame time correction of the recordings.
int SetFrameTimeCorrection() { return 0; }

// Not settled: manual recording that was switched on.
int ResetCamManualRecEn() { return 0; }

// Not settled: encrypt_table.dump under the package's target folder.
int TransferRecordingEncryptTable() { return 0; }

// Not settled: default storage of detection events.
int InsertDefaultDetectionEventStoragePath() { return 0; }

// Not settled: the folder @CameraIntegration and its test results.
int ChangeCameraIntegrationPropertyAndStatus() { return 0; }

// Not settled: tables log_rotate_settings and bookmark: how many bookmarks are kept.
int ChangeDefaultBookmarkLimit() { return 0; }

}  // namespace migrations
