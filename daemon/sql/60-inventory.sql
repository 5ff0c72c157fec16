-- Sound and hardware: commands 2450 to 2499, errors 40500 to 40599.
INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES
    (19208, 'audio_get', 2450, 'output volume and sound cards'),
    (19208, 'audio_set', 2451, 'sets the output volume'),
    (19208, 'audio_card', 2452, 'makes a sound card the default'),
    (19208, 'audio_reset', 2453, 'makes the built-in sound card the default'),
    (19208, 'audio_devices', 2454, 'the HDA sound cards'),
    (19208, 'hardware_info', 2455, 'disks, processor, network cards, version, temperatures');
INSERT OR IGNORE INTO errors (code, text) VALUES
    (40501, 'the volume was not set'),
    (40502, 'the default sound card was not changed');
