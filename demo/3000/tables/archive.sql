CREATE TABLE archive_recording (id INTEGER PRIMARY KEY, task_id INTEGER, recording_path TEXT);
