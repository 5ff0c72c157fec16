-- Clock and time zone: commands 2400 to 2449, errors 40400 to 40449.
INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES
    (19208, 'time_status', 2400, 'clock, time zone and synchronisation'),
    (19208, 'time_zones', 2401, 'the time zones that the host knows'),
    (19208, 'time_set', 2402, 'sets time zone and clock, or has a server keep the clock'),
    (19208, 'time_sync', 2403, 'makes one exchange with the time server now');
INSERT OR IGNORE INTO errors (code, text) VALUES
    (40401, 'the state of the clock cannot be read'),
    (40402, 'the time zones cannot be listed'),
    (40403, 'the time settings were not applied'),
    (40404, 'the clock was not synchronised');
