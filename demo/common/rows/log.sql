INSERT INTO log (log_type, user, item_id, params, log_time) VALUES
    (321912840, 'admin', 1, '["Front door"]',                1430438500),
    (321912840, 'admin', 2, '["Lobby"]',                     1430438600),
    (321912838, 'alice', 3, '["Car park"]',                  1430524900),
    (321912840, 'admin', 12, '["O''Brien''s office, 2nd floor"]', 1430611300);
