// Camera models, resolutions and field-of-view texts that later device definitions no longer know.
#include "upgrader/migrations/migrations.h"

namespace migrations {

int PatchEtrovisionCamModelDB() { return 0; }

int PatchTrendnetIP612DB() { return 0; }

int PatchAirLiveReso() { return 0; }

int PatchGrandstreamReso() { return 0; }

// Not settled: table camera: the video rotation bits of one vendor's models.
int RemoveYcamVdoRotate() { return 0; }

int RemoveGrandstreamMjpeg() { return 0; }

int PatchHIKVISIONDS2CD832F() { return 0; }

int RenameGrandstreamModels() { return 0; }

int PatchAxisM3006Reso() { return 0; }

int PatchAxisP3384() { return 0; }

// Not settled: table camera: a "(NTSC)" or "(PAL)" at the end of model moves to tv_standard; two D-Link
// models.
int FixCamModelTvStandard() { return 0; }

int PatchMessoaNcb858() { return 0; }

int RenameFovDesc() { return 0; }

}  // namespace migrations
