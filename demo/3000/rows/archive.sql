-- The second volume is not there.
INSERT INTO archive_recording VALUES
    (1, 1, '/volume1/archives/@archive/branch-office/20150501.mp4'),
    (2, 1, '/volume1/archives/@archive/branch-office/20150502.mp4'),
    (3, 2, '/volume2/archives/@archive/warehouse/20150501.mp4'),
    (4, 2, '/volume1/archives/@archived/warehouse/20150502.mp4');
