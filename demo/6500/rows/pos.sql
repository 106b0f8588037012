-- The third till has lost its camera.
INSERT INTO pos VALUES
    (1, 'Shop till', 5,  0),
    (2, 'Bar till',  6,  1),
    (3, 'Old till',  99, 2),
    (4, 'Kiosk',     10, 0);
