// Privilege profiles, their id lists and the accounts bound to them.
#include "upgrader/migrations/migrations.h"
#include "upgrader/migrations/not_settled.h"
#include "upgrader/once.h"

namespace migrations {

int UpdatePrivilegeProfile() { return 0; }

int UpdatePrivProfileAndPrivPerCam() { return 0; }

int ClearInaCamsInDefPrivProf() { return 0; }

// Not settled: table privilegeprofile: the right to edit layouts.
int UpdateEditLayoutPrivilege() { return 0; }

// Not settled: table privilegeprofile: the right to edit e-maps.
int UpdateEditEmapPrivielege() { return 0; }

// Not settled: id lists of the profiles: objects that no longer exist.
int RemoveNotExistDataInPrivProfile() { return 0; }

// Not settled: the folder @VGData/preference: wallpapers.
int UpdateWallpaperPrivilege() { return 0; }

// Not settled: recording servers in the I/O module rights.
int AddSlavedsToAllIO() { return 0; }

// Not settled: table privilegeprofile: layouts and e-maps of managers.
int UpdateManagerLayoutAndEmapPriv() { return 0; }

// Not settled: rights to digital outputs by camera.
int UpdatePrivPerCam() {
    return RunOnce("upgrade_digiout_priv", "Failed to set Update Manager value in setting conf.\n",
                   NotSettled);
}

// Not settled: table privilegeprofile: all_ipspeaker_ds_ids and operation bits of IP speakers.
int UpdateIPSpeakerPrivilege() { return 0; }

int DeleteNonexistentPrivProfileFromSubTable() { return 0; }

int CreateNonePrivProfile() { return 0; }

// Not settled: default right to web maps.
int UpdateWebMapDefPriv() {
    return RunOnce("upgrade_webmap_def_priv", "Failed to set upgrade_webmap_def_priv in setting conf.\n",
                   NotSettled);
}

int UpdateVGAccountPrivProfileList() { return 0; }

int UpdateMapPrivOfNonePrivProfile() { return 0; }

// Not settled: intrusion objects of the all-object profiles.
int RemoveAllObjIntrusion() { return 0; }

// Not settled: table privilegeprofile: the default spectator profile.
int UpdateAllObjSpecPrivilege() { return 0; }

// Not settled: profiles of the administrators' accounts.
int CorrectAdminUserPrivProfile() { return RunOnce("upgrade_admin_privilige", kFailedToSetFlag, NotSettled); }

int UpdateDefPrivProfile() { return 0; }

int ReCreateNonePrivProfile() { return 0; }

}  // namespace migrations
