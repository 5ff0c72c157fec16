-- CAN and serial ports: commands 2200 to 2299, events 2910 to 2919, errors 40200 to 40299.
INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES
    (19208, 'can_list', 2200, 'saved CAN ports and the CAN interfaces of the host'),
    (19208, 'can_config', 2201, 'sets up one CAN interface'),
    (19208, 'can_open', 2202, 'opens a CAN port'),
    (19208, 'can_send', 2203, 'sends one CAN frame'),
    (19208, 'can_close', 2204, 'closes a CAN port'),
    (19208, 'can_ports_save', 2205, 'replaces the file of CAN ports'),
    (19208, 'can_ports_remove', 2206, 'takes one port out of the file of CAN ports'),
    (19208, 'serial_list', 2210, 'saved serial ports and those of the host'),
    (19208, 'serial_open', 2211, 'opens a serial port'),
    (19208, 'serial_write', 2212, 'sends bytes to the serial port'),
    (19208, 'serial_exchange', 2213, 'sends bytes to the serial port and waits for the answer'),
    (19208, 'serial_close', 2214, 'closes the serial port'),
    (19208, 'serial_ports_save', 2215, 'replaces the file of serial ports'),
    (19208, 'serial_ports_remove', 2216, 'takes one port out of the file of serial ports'),
    (19208, 'event_can_frames', 2910, 'CAN frames arrived'),
    (19208, 'event_serial_data', 2911, 'bytes arrived on the serial port'),
    (19208, 'event_serial_error', 2912, 'the serial port reports an error');
INSERT OR IGNORE INTO errors (code, text) VALUES
    (40201, 'the CAN request failed'),
    (40202, 'the file of CAN ports was not changed'),
    (40203, 'no more CAN ports can be opened'),
    (40211, 'the serial port was not opened'),
    (40212, 'the bytes were not sent'),
    (40213, 'no answer on the serial port'),
    (40214, 'the file of serial ports was not changed');
