-- Main system database: the package's configuration.
--
-- In all schema files: a text column is '' and an integer column 0 unless a comment says otherwise, so that a
-- column that is added to an old table never brings in a NULL. No column is NOT NULL: rows of old systems may
-- hold NULL and are carried along. ds_id and owner columns name a recording server of table slaveds; 0 is this
-- one. Times are seconds since 1970.

-- Cameras ------------------------------------------------------------------------------------------------

-- A camera. The streams 0, 1 and 2 are those of resolution, live_resolution and mobile_resolution.
CREATE TABLE camera (
    id                       INTEGER PRIMARY KEY,
    ds_id                    INTEGER DEFAULT 0,
    name                     TEXT    DEFAULT '',
    vendor                   TEXT    DEFAULT '',
    model                    TEXT    DEFAULT '',
    password                 TEXT    DEFAULT '',
    cap_file_path            TEXT    DEFAULT '',  -- the model's capability file
    tv_standard              INTEGER DEFAULT 0,
    fov                      TEXT    DEFAULT '',  -- field of view, as the camera words it
    video_type               INTEGER DEFAULT 0,
    streaming_type           INTEGER DEFAULT 0,
    enable_audio             INTEGER DEFAULT 0,
    resolution               TEXT    DEFAULT '',
    live_resolution          TEXT    DEFAULT '',
    mobile_resolution        TEXT    DEFAULT '',
    profile_setting_list     TEXT    DEFAULT '',  -- streams by purpose: 15 numbers joined by commas
    liveview_mode            INTEGER DEFAULT 0,
    mobile_liveview_mode     INTEGER DEFAULT 0,
    pre_rec_time             INTEGER DEFAULT 0,
    post_rec_time            INTEGER DEFAULT 0,
    enable_rec_limit         INTEGER DEFAULT 0,
    writingEvtPath           TEXT    DEFAULT '',  -- the event file that is being written
    event_written_byte       INTEGER DEFAULT 0,   -- and how far
    notifyschedule           TEXT    DEFAULT '',  -- hexadecimal words joined by commas
    alert_event              INTEGER DEFAULT 0,   -- event selections as masks, of old builds: 0 once they
    adv_live_trig_event      INTEGER DEFAULT 0,   -- are converted to the texts below
    adv_contious_trig_event  INTEGER DEFAULT 0,
    alert_event_type         TEXT    DEFAULT '',  -- event selections: 84 characters '0' or '1'
    adv_live_trig_event_type TEXT    DEFAULT '',
    adv_cont_trig_event_type TEXT    DEFAULT '',
    alert_di                 INTEGER DEFAULT 0,
    ext_di_port              INTEGER DEFAULT 0,
    removable_lens           INTEGER DEFAULT 0,
    last_restart_time        INTEGER DEFAULT 0
);

CREATE TABLE cameragroup (
    id   INTEGER PRIMARY KEY,
    name TEXT DEFAULT ''
);

-- Detection settings of a camera.
CREATE TABLE camdetsetting (
    camera_id INTEGER PRIMARY KEY
);

-- A device output of a camera.
CREATE TABLE camdeviceoutput (
    id        INTEGER PRIMARY KEY,
    camera_id INTEGER DEFAULT 0
);

-- What the maker's own cameras have beyond others.
CREATE TABLE orvacam (
    camera_id              INTEGER PRIMARY KEY,
    day_to_night_threshold INTEGER DEFAULT 0,
    night_to_day_threshold INTEGER DEFAULT 0,
    ir_led_intensity       INTEGER DEFAULT 0
);

-- Another system that takes over a camera's detection.
CREATE TABLE camera_integration (
    id        INTEGER PRIMARY KEY,
    camera_id INTEGER DEFAULT 0,
    password  TEXT    DEFAULT ''
);

CREATE TABLE camera_integration_tmp (
    id        INTEGER PRIMARY KEY,
    camera_id INTEGER DEFAULT 0,
    password  TEXT    DEFAULT ''
);

CREATE TABLE patrol (
    id        INTEGER PRIMARY KEY,
    camera_id INTEGER DEFAULT 0,
    name      TEXT    DEFAULT ''
);

-- A preset that a patrol visits, and for how long.
CREATE TABLE patrolPresetData (
    id        INTEGER PRIMARY KEY,
    patrol_id INTEGER DEFAULT 0,
    preset_id INTEGER DEFAULT 0,
    stay_time INTEGER DEFAULT 0
);

-- Analytics tasks ----------------------------------------------------------------------------------------

-- A video analytics task.
CREATE TABLE iva_setting (
    id                  INTEGER PRIMARY KEY,
    name                TEXT    DEFAULT '',
    camera_id           INTEGER DEFAULT 0,
    stream_profile      INTEGER DEFAULT 0,
    pre_rec_time        INTEGER DEFAULT 0,
    post_rec_time       INTEGER DEFAULT 0,
    people_display_info TEXT    DEFAULT ''
);

-- A face recognition task.
CREATE TABLE face_setting (
    id             INTEGER PRIMARY KEY,
    name           TEXT    DEFAULT '',
    camera_id      INTEGER DEFAULT 0,
    stream_profile INTEGER DEFAULT 0
);

-- Privileges: what a profile may not use ------------------------------------------------------------------

-- Lists hold ids joined by commas, '' for none.
CREATE TABLE privilegeprofile (
    id                    INTEGER PRIMARY KEY,
    name                  TEXT    DEFAULT '',
    privilege             INTEGER DEFAULT 0,   -- 0 admin, 1 manager, 2 spectator, -2 none
    description           TEXT    DEFAULT '',
    custom_uid            TEXT    DEFAULT '',  -- the user that a per-user profile was made for; '' or 0: shared
    inacamids             TEXT    DEFAULT '',  -- cameras, before privilegepercamera
    inacamgrpids          TEXT    DEFAULT '',
    allcamdsids           TEXT    DEFAULT '',
    ina_operation         INTEGER DEFAULT 0,   -- operations, first generation
    ina_adv_oper          INTEGER DEFAULT 0,   -- operations, second generation: a mask of 64 bits
    ina_adv_operator      TEXT    DEFAULT '',  -- operations: a character '0' or '1' each, '1' denied
    ina_emap_ids          TEXT    DEFAULT '',
    all_emap_ds_ids       TEXT    DEFAULT '',
    ina_layout_ids        TEXT    DEFAULT '',
    all_layout_type       INTEGER DEFAULT 0,
    ina_edit_layout_ids   TEXT    DEFAULT '',
    all_edit_layout_type  INTEGER DEFAULT 0,
    ina_edit_emap_ids     TEXT    DEFAULT '',
    all_edit_emap_ds_ids  TEXT    DEFAULT '',
    ina_iomodule_ids      TEXT    DEFAULT '',
    all_iomodule_ds_ids   TEXT    DEFAULT '',
    ina_server_ids        TEXT    DEFAULT '',
    all_server_avail      INTEGER DEFAULT 0,
    ina_ipspeaker_ids     TEXT    DEFAULT '',
    ina_ipspeaker_grp_ids TEXT    DEFAULT '',
    all_ipspeaker_ds_ids  TEXT    DEFAULT ''
);

-- The two default profiles, which deny no object. The spectators' mask holds positions 0 to 63 of their string.
INSERT INTO privilegeprofile (id, name, privilege, description, custom_uid, ina_adv_oper, ina_adv_operator)
VALUES (1, 'All-Object Manager', 1, 'System default manager', '0', 0,
        '0000000000000000000000000000000000000000000000000000000000000000000000000000000'),
       (2, 'All-Object Spectator', 2, 'System default spectator', '0', 106428313966200864,
        '0000010000010011111111111110101100111111110110000101111010000000111111111111111');

-- Cameras by right, one row a profile; a profile without a row is denied none. A group is denied by
-- ..._camgrp_ids, all cameras of a recording server by ..._allcamds_ids.
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

-- Doors by right, one row a profile; a profile without a row is denied none.
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

-- Cameras by recording server, of the oldest builds; -1 stands for every camera of the server.
CREATE TABLE privilegeprofilecam (
    privprofileid INTEGER DEFAULT 0,
    dsid          INTEGER DEFAULT 0,
    inacamids     TEXT    DEFAULT ''
);

CREATE TABLE account (
    id             INTEGER PRIMARY KEY,
    name           TEXT    DEFAULT '',
    privprofileid  INTEGER DEFAULT 0,   -- the one profile, of old builds
    privprofileids TEXT    DEFAULT ''
);

-- A user's session.
CREATE TABLE logininfo (
    id  INTEGER PRIMARY KEY,
    sid TEXT DEFAULT ''
);

-- Notifications ------------------------------------------------------------------------------------------

-- How a notification type is delivered: masks of delivery methods. A type may have several rows.
CREATE TABLE notificationevent (
    event_group      INTEGER DEFAULT 0,
    event_type       INTEGER DEFAULT 0,
    filter           INTEGER DEFAULT 0,
    home_mode_filter INTEGER DEFAULT 0
);

-- The filters before notificationevent, a column a type; a single row.
CREATE TABLE notificationfilter (
    motion_detected     INTEGER DEFAULT 0,
    rec_storage_removed INTEGER DEFAULT 0
);

-- The home-mode filters before notificationevent, a column a type in type order: decimal text, NULL where the
-- type has no home-mode value. A single row.
CREATE TABLE homemodenotifyfilter (
    notify_type_0 TEXT,
    notify_type_1 TEXT,
    notify_type_2 TEXT,
    notify_type_3 TEXT,
    notify_type_4 TEXT,
    motion_detected TEXT,
    notify_type_6 TEXT,
    notify_type_7 TEXT,
    notify_type_8 TEXT,
    notify_type_9 TEXT,
    notify_type_10 TEXT,
    notify_type_11 TEXT,
    notify_type_12 TEXT,
    notify_type_13 TEXT,
    notify_type_14 TEXT,
    notify_type_15 TEXT,
    notify_type_16 TEXT,
    notify_type_17 TEXT,
    notify_type_18 TEXT,
    notify_type_19 TEXT,
    notify_type_20 TEXT,
    notify_type_21 TEXT,
    notify_type_22 TEXT,
    notify_type_23 TEXT,
    notify_type_24 TEXT,
    notify_type_25 TEXT,
    notify_type_26 TEXT,
    notify_type_27 TEXT,
    notify_type_28 TEXT,
    notify_type_29 TEXT,
    notify_type_30 TEXT,
    notify_type_31 TEXT,
    notify_type_32 TEXT,
    notify_type_33 TEXT,
    notify_type_34 TEXT,
    notify_type_35 TEXT,
    notify_type_36 TEXT,
    notify_type_37 TEXT,
    notify_type_38 TEXT,
    notify_type_39 TEXT,
    notify_type_40 TEXT,
    notify_type_41 TEXT,
    notify_type_42 TEXT,
    notify_type_43 TEXT,
    notify_type_44 TEXT,
    notify_type_45 TEXT,
    notify_type_46 TEXT,
    notify_type_47 TEXT,
    notify_type_48 TEXT,
    notify_type_49 TEXT,
    notify_type_50 TEXT,
    notify_type_51 TEXT,
    notify_type_52 TEXT,
    notify_type_53 TEXT,
    notify_type_54 TEXT,
    notify_type_55 TEXT,
    notify_type_56 TEXT,
    notify_type_57 TEXT,
    notify_type_58 TEXT,
    notify_type_59 TEXT,
    notify_type_60 TEXT,
    notify_type_61 TEXT,
    intercom_access TEXT,
    notify_type_63 TEXT,
    notify_type_64 TEXT,
    notify_type_65 TEXT,
    notify_type_66 TEXT,
    notify_type_67 TEXT,
    notify_type_68 TEXT,
    notify_type_69 TEXT,
    intercom_rex TEXT,
    notify_type_71 TEXT,
    notify_type_72 TEXT,
    notify_type_73 TEXT,
    notify_type_74 TEXT,
    notify_type_75 TEXT,
    notify_type_76 TEXT,
    notify_type_77 TEXT,
    notify_type_78 TEXT,
    notify_type_79 TEXT,
    notify_type_80 TEXT,
    notify_type_81 TEXT,
    notify_type_82 TEXT,
    notify_type_83 TEXT,
    notify_type_84 TEXT,
    notify_type_85 TEXT,
    notify_type_86 TEXT,
    notify_type_87 TEXT,
    notify_type_88 TEXT,
    notify_type_89 TEXT,
    notify_type_90 TEXT,
    notify_type_91 TEXT,
    notify_type_92 TEXT,
    notify_type_93 TEXT,
    notify_type_94 TEXT,
    notify_type_95 TEXT,
    notify_type_96 TEXT,
    notify_type_97 TEXT,
    notify_type_98 TEXT,
    notify_type_99 TEXT,
    notify_type_100 TEXT,
    notify_type_101 TEXT,
    notify_type_102 TEXT,
    notify_type_103 TEXT,
    notify_type_104 TEXT,
    notify_type_105 TEXT,
    notify_type_106 TEXT,
    notify_type_107 TEXT,
    notify_type_108 TEXT,
    people_vehicle_detected TEXT,
    notify_type_110 TEXT,
    notify_type_111 TEXT,
    notify_type_112 TEXT,
    notify_type_113 TEXT,
    notify_type_114 TEXT,
    notify_type_115 TEXT,
    notify_type_116 TEXT,
    notify_type_117 TEXT,
    notify_type_118 TEXT,
    notify_type_119 TEXT,
    notify_type_120 TEXT,
    notify_type_121 TEXT
);

INSERT INTO homemodenotifyfilter DEFAULT VALUES;

-- When a type is notified: 7 days of 48 half hours, '0' or '1', from day 0 slot 0 to day 6 slot 47.
CREATE TABLE notificationschedule (
    event_type INTEGER PRIMARY KEY,
    schedule   TEXT DEFAULT ''
);

CREATE TABLE notificationwebhook (
    id   INTEGER PRIMARY KEY,
    name TEXT DEFAULT '',
    url  TEXT DEFAULT ''
);

-- Delivery by mail; a single row.
CREATE TABLE notification (
    email    TEXT DEFAULT '',
    email2   TEXT DEFAULT '',
    password TEXT DEFAULT ''
);

-- Delivery by text message; a single row.
CREATE TABLE notificationsms (
    password TEXT DEFAULT ''
);

-- Delivery by push services; a single row.
CREATE TABLE notificationpushservice (
    enable_push_service INTEGER DEFAULT 0,  -- of old builds: any of the services
    mobile_enable       INTEGER DEFAULT 0,
    orva_mail_enable    INTEGER DEFAULT 0
);

-- What holds for every delivery; a single row.
CREATE TABLE notificationadvance (
    compact_msg_interval INTEGER DEFAULT 0
);

-- Whether somebody is at home; a single row.
CREATE TABLE homemodesetting (
    mode_on INTEGER DEFAULT 0
);

-- Event labels -------------------------------------------------------------------------------------------

-- The labels for events of a type and source: setting is a JSON array of labels. enabled and text are what it
-- was in old builds: a mask of the user's labels and a JSON array of their texts.
CREATE TABLE eventlabelsetting (
    event_type INTEGER DEFAULT 0,
    source     INTEGER DEFAULT 0,
    setting    TEXT    DEFAULT '',
    enabled    INTEGER DEFAULT 0,
    text       TEXT    DEFAULT '',
    PRIMARY KEY (event_type, source)
);

-- Four fixed labels and five of the user's, which are off. In the old form that is no label at all.
INSERT INTO eventlabelsetting (event_type, source, enabled, text, setting)
VALUES (4, 0, 0, '["","","","",""]',
        '[' ||
        '{"background":"#E6DC5C","categ":1,"enabled":true,"text":"","type":1},'   ||
        '{"background":"#24B353","categ":1,"enabled":true,"text":"","type":2},'   ||
        '{"background":"#CC8529","categ":1,"enabled":true,"text":"","type":4},'   ||
        '{"background":"#E04343","categ":1,"enabled":true,"text":"","type":8},'   ||
        '{"background":"#4595E6","categ":2,"enabled":false,"text":"","type":1},'  ||
        '{"background":"#E68A2E","categ":2,"enabled":false,"text":"","type":2},'  ||
        '{"background":"#BDE645","categ":2,"enabled":false,"text":"","type":4},'  ||
        '{"background":"#36B3B3","categ":2,"enabled":false,"text":"","type":8},'  ||
        '{"background":"#64696E","categ":2,"enabled":false,"text":"","type":16}' ||
        ']');

-- Action rules -------------------------------------------------------------------------------------------

CREATE TABLE actionrule (
    id       INTEGER PRIMARY KEY,
    name     TEXT DEFAULT '',
    password TEXT DEFAULT ''
);

-- Recording servers, I/O modules and IP speakers -----------------------------------------------------------

-- Another recording server that this one manages.
CREATE TABLE slaveds (
    id           INTEGER PRIMARY KEY,
    name         TEXT DEFAULT '',
    admin_passwd TEXT DEFAULT ''
);

CREATE TABLE iomodule (
    id       INTEGER PRIMARY KEY,
    ds_id    INTEGER DEFAULT 0,
    name     TEXT    DEFAULT '',
    password TEXT    DEFAULT ''
);

CREATE TABLE ipspeaker (
    id       INTEGER PRIMARY KEY,
    ds_id    INTEGER DEFAULT 0,
    name     TEXT    DEFAULT '',
    password TEXT    DEFAULT ''
);

CREATE TABLE ipspeakergroup (
    id   INTEGER PRIMARY KEY,
    name TEXT DEFAULT ''
);

-- Layouts and maps ---------------------------------------------------------------------------------------

CREATE TABLE layout (
    id   INTEGER PRIMARY KEY,
    name TEXT    DEFAULT '',
    type INTEGER DEFAULT 0
);

-- A camera's place in a layout.
CREATE TABLE layoutcamera (
    id        INTEGER PRIMARY KEY,
    layout_id INTEGER DEFAULT 0,
    camera_id INTEGER DEFAULT 0
);

CREATE TABLE emap (
    id    INTEGER PRIMARY KEY,
    ds_id INTEGER DEFAULT 0,
    name  TEXT    DEFAULT ''
);

-- What stands on an e-map, and where.
CREATE TABLE emapitem (
    id       INTEGER PRIMARY KEY,
    emap_id  INTEGER DEFAULT 0,
    position TEXT    DEFAULT ''
);

-- A video wall of the retired add-on.
CREATE TABLE viewdeck (
    id   INTEGER PRIMARY KEY,
    name TEXT DEFAULT ''
);

-- Archives, storage and logs -----------------------------------------------------------------------------

-- A task that fetches recordings from another server.
CREATE TABLE archive_pull_task (
    id       INTEGER PRIMARY KEY,
    name     TEXT DEFAULT '',
    password TEXT DEFAULT ''
);

-- A task that sends recordings to another server.
CREATE TABLE archive_push_task (
    id       INTEGER PRIMARY KEY,
    name     TEXT DEFAULT '',
    password TEXT DEFAULT ''
);

-- A shared folder that the package records to.
CREATE TABLE sharedfolderstorage (
    id             INTEGER PRIMARY KEY,
    folder         TEXT    DEFAULT '',
    application_id INTEGER DEFAULT 0
);

-- How many entries of a kind (log entries, bookmarks) and how many archives of them are kept.
CREATE TABLE log_rotate_settings (
    id            INTEGER PRIMARY KEY,
    max_count     INTEGER DEFAULT 0,
    archive_count INTEGER DEFAULT 0
);

-- How snapshots are sorted and named; a single row.
CREATE TABLE snapshot_display_settings (
    sort_info   TEXT DEFAULT '',
    naming_rule TEXT DEFAULT ''
);
