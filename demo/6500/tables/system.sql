CREATE TABLE camera (
    id                       INTEGER PRIMARY KEY,
    ds_id                    INTEGER DEFAULT 0,
    name                     TEXT,
    vendor                   TEXT,
    model                    TEXT,
    password                 TEXT,
    cap_file_path            TEXT,
    tv_standard              INTEGER DEFAULT 0,
    fov                      TEXT DEFAULT '',
    video_type               INTEGER,
    streaming_type           INTEGER,
    enable_audio             INTEGER,
    resolution               TEXT,
    live_resolution          TEXT,
    mobile_resolution        TEXT,
    profile_setting_list     TEXT DEFAULT '',
    liveview_mode            INTEGER,
    mobile_liveview_mode     INTEGER,
    pre_rec_time             INTEGER,
    post_rec_time            INTEGER,
    notifyschedule           TEXT,
    alert_event              INTEGER DEFAULT 0,
    adv_live_trig_event      INTEGER DEFAULT 0,
    adv_contious_trig_event  INTEGER DEFAULT 0,
    alert_event_type         TEXT DEFAULT '',
    adv_live_trig_event_type TEXT DEFAULT '',
    adv_cont_trig_event_type TEXT DEFAULT '',
    removable_lens           INTEGER DEFAULT 0,
    last_restart_time        INTEGER DEFAULT 0
);

CREATE TABLE cameragroup (id INTEGER PRIMARY KEY, name TEXT);

CREATE TABLE iva_setting (
    id                  INTEGER PRIMARY KEY,
    name                TEXT,
    camera_id           INTEGER,
    stream_profile      INTEGER,
    pre_rec_time        INTEGER,
    post_rec_time       INTEGER,
    people_display_info TEXT
);

CREATE TABLE face_setting (
    id             INTEGER PRIMARY KEY,
    name           TEXT,
    camera_id      INTEGER,
    stream_profile INTEGER
);

CREATE TABLE privilegeprofile (
    id                    INTEGER PRIMARY KEY,
    name                  TEXT,
    privilege             INTEGER,
    description           TEXT DEFAULT '',
    custom_uid            TEXT DEFAULT '0',
    inacamids             TEXT DEFAULT '',
    inacamgrpids          TEXT DEFAULT '',
    allcamdsids           TEXT DEFAULT '',
    ina_operation         INTEGER DEFAULT 0,
    ina_adv_oper          INTEGER DEFAULT 0,
    ina_adv_operator      TEXT DEFAULT '',
    ina_emap_ids          TEXT DEFAULT '',
    all_emap_ds_ids       TEXT DEFAULT '',
    ina_layout_ids        TEXT DEFAULT '',
    all_layout_type       INTEGER DEFAULT 0,
    ina_edit_layout_ids   TEXT DEFAULT '',
    all_edit_layout_type  INTEGER DEFAULT 0,
    ina_edit_emap_ids     TEXT DEFAULT '',
    all_edit_emap_ds_ids  TEXT DEFAULT '',
    ina_iomodule_ids      TEXT DEFAULT '',
    all_iomodule_ds_ids   TEXT DEFAULT '',
    ina_server_ids        TEXT DEFAULT '',
    all_server_avail      INTEGER DEFAULT 0,
    ina_ipspeaker_ids     TEXT DEFAULT '',
    ina_ipspeaker_grp_ids TEXT DEFAULT ''
);

CREATE TABLE privilegepercamera (
    privprofile_id         INTEGER PRIMARY KEY,
    ina_live_cam_ids       TEXT DEFAULT '',
    ina_play_cam_ids       TEXT DEFAULT '',
    ina_lens_cam_ids       TEXT DEFAULT '',
    ina_audio_cam_ids      TEXT DEFAULT '',
    ina_digiout_cam_ids    TEXT DEFAULT '',
    ina_live_camgrp_ids    TEXT DEFAULT '',
    ina_play_camgrp_ids    TEXT DEFAULT '',
    ina_lens_camgrp_ids    TEXT DEFAULT '',
    ina_audio_camgrp_ids   TEXT DEFAULT '',
    ina_digiout_camgrp_ids TEXT DEFAULT '',
    live_allcamds_ids      TEXT DEFAULT '',
    play_allcamds_ids      TEXT DEFAULT '',
    lens_allcamds_ids      TEXT DEFAULT '',
    audio_allcamds_ids     TEXT DEFAULT '',
    digiout_allcamds_ids   TEXT DEFAULT ''
);

CREATE TABLE privilegeperdoor (
    privprofile_id              INTEGER PRIMARY KEY,
    ina_authorize_door_ids      TEXT DEFAULT '',
    ina_manual_lock_door_ids    TEXT DEFAULT '',
    ina_manual_unlock_door_ids  TEXT DEFAULT '',
    ina_manual_access_door_ids  TEXT DEFAULT '',
    authorize_alldoords_ids     TEXT DEFAULT '',
    manual_lock_alldoords_ids   TEXT DEFAULT '',
    manual_unlock_alldoords_ids TEXT DEFAULT '',
    manual_access_alldoords_ids TEXT DEFAULT ''
);

CREATE TABLE account (
    id            INTEGER PRIMARY KEY,
    name          TEXT,
    privprofileid INTEGER
);

CREATE TABLE notificationevent (
    event_group      INTEGER,
    event_type       INTEGER,
    filter           INTEGER,
    home_mode_filter INTEGER
);

CREATE TABLE homemodenotifyfilter (
    motion_detected TEXT,
    notify_type_33  TEXT,
    intercom_access TEXT,
    intercom_rex    TEXT
);

CREATE TABLE notificationschedule (event_type INTEGER PRIMARY KEY, schedule TEXT);
CREATE TABLE notificationwebhook (id INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE notification (email TEXT, email2 TEXT, password TEXT);
CREATE TABLE notificationpushservice (mobile_enable INTEGER, orva_mail_enable INTEGER);

CREATE TABLE eventlabelsetting (
    event_type INTEGER,
    source     INTEGER,
    setting    TEXT,
    enabled    INTEGER,
    text       TEXT,
    PRIMARY KEY (event_type, source)
);

CREATE TABLE archive_pull_task (id INTEGER PRIMARY KEY, name TEXT, password TEXT);
CREATE TABLE slaveds (id INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE emap (id INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE emapitem (id INTEGER PRIMARY KEY, emap_id INTEGER, position TEXT);
CREATE TABLE layout (id INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE iomodule (id INTEGER PRIMARY KEY, name TEXT);
CREATE TABLE ipspeaker (id INTEGER PRIMARY KEY, name TEXT);
