// The columns that hold what a privilege profile denies by object, one for each right: the denied objects, their
// groups, and the recording servers of which every object is denied.
#pragma once

#include <string>
#include <vector>

using RightColumns = std::vector<std::string>;

// Cameras (live view, playback, lens and PTZ, audio, digital output); columns of table privilegepercamera.
inline const RightColumns kCamIdColumns = {"ina_live_cam_ids", "ina_play_cam_ids", "ina_lens_cam_ids",
                                           "ina_audio_cam_ids", "ina_digiout_cam_ids"};
inline const RightColumns kCamGroupColumns = {"ina_live_camgrp_ids", "ina_play_camgrp_ids",
                                              "ina_lens_camgrp_ids", "ina_audio_camgrp_ids",
                                              "ina_digiout_camgrp_ids"};
inline const RightColumns kCamServerColumns = {"live_allcamds_ids", "play_allcamds_ids", "lens_allcamds_ids",
                                               "audio_allcamds_ids", "digiout_allcamds_ids"};

// Doors; columns of table privilegeperdoor.
inline const RightColumns kDoorIdColumns = {"ina_authorize_door_ids", "ina_manual_lock_door_ids",
                                            "ina_manual_unlock_door_ids", "ina_manual_access_door_ids"};
inline const RightColumns kDoorServerColumns = {"authorize_alldoords_ids", "manual_lock_alldoords_ids",
                                                "manual_unlock_alldoords_ids", "manual_access_alldoords_ids"};

// Layouts and e-maps, to view and to edit; columns of table privilegeprofile.
inline const RightColumns kLayoutIdColumns = {"ina_layout_ids", "ina_edit_layout_ids"};
inline const RightColumns kLayoutTypeColumns = {"all_layout_type", "all_edit_layout_type"};
inline const RightColumns kEmapIdColumns = {"ina_emap_ids", "ina_edit_emap_ids"};
inline const RightColumns kEmapServerColumns = {"all_emap_ds_ids", "all_edit_emap_ds_ids"};
