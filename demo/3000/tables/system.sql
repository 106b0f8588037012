CREATE TABLE camera (
    id                      INTEGER PRIMARY KEY,
    name                    TEXT,
    vendor                  TEXT,
    model                   TEXT,
    password                TEXT,
    cap_file_path           TEXT,
    tv_standard             INTEGER DEFAULT 0,
    fov                     TEXT DEFAULT '',
    video_type              INTEGER,
    streaming_type          INTEGER,
    enable_audio            INTEGER,
    resolution              TEXT,
    live_resolution         TEXT,
    mobile_resolution       TEXT,
    liveview_mode           INTEGER,
    pre_rec_time            INTEGER,
    post_rec_time           INTEGER,
    writingEvtPath          TEXT,
    event_written_byte      INTEGER DEFAULT 0,
    notifyschedule          TEXT,
    alert_event             INTEGER DEFAULT 0,
    adv_live_trig_event     INTEGER DEFAULT 0,
    adv_contious_trig_event INTEGER DEFAULT 0
);

CREATE TABLE iva_setting (
    id             INTEGER PRIMARY KEY,
    name           TEXT,
    camera_id      INTEGER,
    stream_profile INTEGER,
    pre_rec_time   INTEGER,
    post_rec_time  INTEGER
);

CREATE TABLE privilegeprofile (
    id               INTEGER PRIMARY KEY,
    name             TEXT,
    privilege        INTEGER,
    custom_uid       TEXT DEFAULT '0',
    inacamids        TEXT DEFAULT '',
    inacamgrpids     TEXT DEFAULT '',
    allcamdsids      TEXT DEFAULT '',
    ina_operation    INTEGER DEFAULT 0,
    ina_adv_oper     INTEGER DEFAULT 0,
    ina_emap_ids     TEXT DEFAULT '',
    all_emap_ds_ids  TEXT DEFAULT '',
    ina_layout_ids   TEXT DEFAULT '',
    all_layout_type  INTEGER DEFAULT 0,
    ina_iomodule_ids TEXT DEFAULT ''
);

CREATE TABLE privilegepercamera (
    privprofile_id       INTEGER PRIMARY KEY,
    ina_live_cam_ids     TEXT DEFAULT '',
    ina_play_cam_ids     TEXT DEFAULT '',
    ina_lens_cam_ids     TEXT DEFAULT '',
    ina_audio_cam_ids    TEXT DEFAULT '',
    ina_live_camgrp_ids  TEXT DEFAULT '',
    ina_play_camgrp_ids  TEXT DEFAULT '',
    ina_lens_camgrp_ids  TEXT DEFAULT '',
    ina_audio_camgrp_ids TEXT DEFAULT '',
    live_allcamds_ids    TEXT DEFAULT '',
    play_allcamds_ids    TEXT DEFAULT '',
    lens_allcamds_ids    TEXT DEFAULT '',
    audio_allcamds_ids   TEXT DEFAULT ''
);

CREATE TABLE privilegeprofilecam (
    privprofileid INTEGER,
    dsid          INTEGER,
    inacamids     TEXT
);

CREATE TABLE account (
    id            INTEGER PRIMARY KEY,
    name          TEXT,
    privprofileid INTEGER
);

CREATE TABLE notificationfilter (
    motion_detected INTEGER DEFAULT 0,
    notify_type_33  INTEGER,
    notify_type_36  INTEGER,
    intercom_access INTEGER
);

CREATE TABLE homemodenotifyfilter (
    motion_detected TEXT,
    notify_type_7   TEXT,
    notify_type_33  TEXT,
    intercom_access TEXT
);

CREATE TABLE notificationschedule (event_type INTEGER PRIMARY KEY, schedule TEXT);
CREATE TABLE notification (email TEXT, email2 TEXT, password TEXT);
CREATE TABLE notificationpushservice (
    enable_push_service INTEGER DEFAULT 0,
    mobile_enable       INTEGER,
    orva_mail_enable    INTEGER,
    msn_enable          INTEGER DEFAULT 0,
    msn_account         TEXT    DEFAULT '',
    skype_enable        BOOLEAN DEFAULT 0,
    skype_account       TEXT    DEFAULT ''
);
CREATE TABLE camdetsetting (camera_id INTEGER PRIMARY KEY);

CREATE TABLE eventlabelsetting (
    event_type INTEGER,
    source     INTEGER,
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
