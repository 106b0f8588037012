// The rights that a privilege profile denies by object, and the columns that hold the denials: for each right the
// denied objects, their groups, and the recording servers of which every object is denied.
#pragma once

#include <string>
#include <vector>

// Columns, one a right, in the order of the right's enumeration.
using RightColumns = std::vector<std::string>;

// Rights to a camera; columns of table privilegepercamera.
enum CAM_PRIV_TYPE : int {
    CAM_PRIV_LIVE = 0,
    CAM_PRIV_PLAY,  // playback of recordings
    CAM_PRIV_LENS,  // lens and PTZ control
    CAM_PRIV_AUDIO,
    CAM_PRIV_DIGIOUT,  // digital output
    CAM_PRIV_TYPE_COUNT,
};
inline const RightColumns kCamIdColumns = {"ina_live_cam_ids", "ina_play_cam_ids", "ina_lens_cam_ids",
                                           "ina_audio_cam_ids", "ina_digiout_cam_ids"};
inline const RightColumns kCamGroupColumns = {"ina_live_camgrp_ids", "ina_play_camgrp_ids",
                                              "ina_lens_camgrp_ids", "ina_audio_camgrp_ids",
                                              "ina_digiout_camgrp_ids"};
inline const RightColumns kCamServerColumns = {"live_allcamds_ids", "play_allcamds_ids", "lens_allcamds_ids",
                                               "audio_allcamds_ids", "digiout_allcamds_ids"};

// Rights to a door; columns of table privilegeperdoor.
inline constexpr size_t kDoorRights = 4;
inline const RightColumns kDoorIdColumns = {"ina_authorize_door_ids", "ina_manual_lock_door_ids",
                                            "ina_manual_unlock_door_ids", "ina_manual_access_door_ids"};
inline const RightColumns kDoorServerColumns = {"authorize_alldoords_ids", "manual_lock_alldoords_ids",
                                                "manual_unlock_alldoords_ids", "manual_access_alldoords_ids"};

// Rights to a layout or an e-map; columns of table privilegeprofile.
enum ITEM_PRIV_TYPE : int {
    ITEM_PRIV_VIEW = 0,
    ITEM_PRIV_EDIT,
    ITEM_PRIV_TYPE_COUNT,
};
inline const RightColumns kLayoutIdColumns = {"ina_layout_ids", "ina_edit_layout_ids"};
inline const RightColumns kLayoutTypeColumns = {"all_layout_type", "all_edit_layout_type"};
inline const RightColumns kEmapIdColumns = {"ina_emap_ids", "ina_edit_emap_ids"};
inline const RightColumns kEmapServerColumns = {"all_emap_ds_ids", "all_edit_emap_ds_ids"};
