-- The service itself: commands 2000 to 2099, events 2900 to 2909, errors 40000 to 40099.
INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES
    (19208, 'echo', 2000, 'answers with both areas as they came'),
    (19208, 'commands', 2001, 'the table of commands and events'),
    (19208, 'version', 2002, 'versions of the daemon and its host'),
    (19208, 'subscribe', 2003, 'asks for events on this connection'),
    (19208, 'link_status', 2004, 'what link supervision and the host report said last'),
    (19208, 'upload', 5104, 'stores the data area as a file, answers with its size and SHA-256'),
    (19208, 'event_link', 2900, 'the link was lost or is good again'),
    (19208, 'event_host_report', 2901, 'a report of addresses and Wi-Fi arrived');
INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES
    (19207, 'link_lost', 4802, 'link supervision: the link is lost'),
    (19207, 'link_good', 4803, 'link supervision: the link is good'),
    (19210, 'host_report', 6950, 'addresses and Wi-Fi of this host');
INSERT OR IGNORE INTO errors (code, text) VALUES
    (40001, 'unknown command'),
    (40002, 'an argument is missing or wrong'),
    (40003, 'the upload is not on the disk'),
    (40004, 'the answer is more than one frame can hold'),
    (40005, 'the command needs more memory than there is'),
    (40007, 'the command was carried out, but its settings were not stored');
