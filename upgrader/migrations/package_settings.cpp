// Package settings: keys of settings.conf and what add-on services find there.
#include "upgrader/migrations/migrations.h"

namespace migrations {

int UpdateCMSInfo() { return 0; }

// Not settled: settings key vg_dp_auto_download.
int CreateDpAutoUpdateInfo() { return 0; }

int UpdateCMSVideoRelayType() { return 0; }

// Not settled: settings key vg_ld_auto_download.
int CreateLdAutoUpdateInfo() { return 0; }

int ResetDpLdNewVersion() { return 0; }

// Not settled: information files of add-ons under @VGData/AddOns.
int InitEdgeRecordingAddOnInfo() { return 0; }

int RenameDownloadServerKey() { return 0; }

// Not settled: settings key orvacam_auto_update_server.
int CreateOrvacamAutoUpdateInfo() { return 0; }

int DisableDPLocalDisplayAutoUpdate() { return 0; }

// Not settled: settings key vg_file_download_server, which becomes the maker's update endpoint.
int SetFileDownloadServer() { return 0; }

int UpdateH265HwDecodeSettings() { return 0; }

}  // namespace migrations
