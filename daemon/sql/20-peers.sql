-- Requests to other daemons: commands 2100 to 2199, errors 40100 to 40199.
INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES
    (19208, 'peer_call', 2100, 'asks another daemon and answers with its answer');
INSERT OR IGNORE INTO errors (code, text) VALUES
    (40101, 'the other daemon did not answer'),
    (40102, 'too many calls are under way'),
    (40103, 'the answer of the other daemon is too large');
