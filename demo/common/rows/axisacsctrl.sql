INSERT INTO axiscontroller VALUES (1, 'Gatehouse');
INSERT INTO axisdoor       VALUES (1, 1, 'Gate'), (2, 1, 'Side door');
INSERT INTO axiscardholder VALUES (1, 'Alice'), (2, 'Müller');
