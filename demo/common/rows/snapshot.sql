-- Live pictures, of which one does not say what time it shows, and one from a recording.
INSERT INTO snapshot VALUES
    (1, 1, 1430470010, NULL,       'Front door-20150501-084650.jpg'),
    (2, 1, 1430470020, 0,          'Front door-20150501-084700.jpg'),
    (3, 3, 1430480010, 1430440000, 'Car park-20150501-113330.jpg');
