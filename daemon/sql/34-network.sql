-- Network, first half: commands 2300 to 2349, errors 40300 to 40349.
INSERT OR IGNORE INTO commands (port, name, number, summary) VALUES
    (19208, 'net_cards', 2300, 'every network card with its address'),
    (19208, 'net_card', 2301, 'one card, by name or by its role'),
    (19208, 'net_interfaces', 2302, 'every interface as the kernel lists it'),
    (19208, 'net_driver', 2303, 'driver of the wired card'),
    (19208, 'net_ping', 2304, 'one probe to an address'),
    (19208, 'net_connect_device', 2305, 'has NetworkManager connect a card'),
    (19208, 'net_disable_driver', 2306, 'puts the driver of the wired card on the blacklist'),
    (19208, 'net_settings', 2307, 'stored settings of the network; reloads them'),
    (19208, 'net_profile', 2308, 'one profile of NetworkManager, by its name'),
    (19208, 'wifi_connect', 2310, 'joins a Wi-Fi by its name'),
    (19208, 'wifi_connect_short', 2311, 'joins a Wi-Fi that needs no password'),
    (19208, 'wifi_enterprise', 2312, 'joins a Wi-Fi by a full description, 802.1X included'),
    (19208, 'wifi_up', 2313, 'brings the stored Wi-Fi profile up'),
    (19208, 'wifi_forget', 2314, 'removes the Wi-Fi profiles, or those of a card'),
    (19208, 'wifi_ssid', 2315, 'name of the Wi-Fi in use'),
    (19208, 'wifi_password', 2316, 'stored pass phrase of a Wi-Fi');
INSERT OR IGNORE INTO errors (code, text) VALUES
    (40300, 'the card was not read'),
    (40301, 'the device was not connected'),
    (40302, 'the driver was not disabled'),
    (40303, 'no answer to the probe'),
    (40310, 'the Wi-Fi was not joined'),
    (40311, 'the wireless card is not connected'),
    (40312, 'no such profile'),
    (40313, 'no such card'),
    (40314, 'the profiles were not removed');
