# Cards and a protected Wi-Fi, on the simulated host only: nobody's own network is touched.
if [ ${#host[@]} -gt 0 ]; then
    step "Which network cards are there?" kyctl net cards
    expect "wlan0" "eth0"
    step "Which access points are in reach?" kyctl wifi list
    expect "RobotNet" "EntNet" "5180"
    step "Join a protected Wi-Fi" kyctl wifi connect RobotNet --password robotpass
    step "Which Wi-Fi is that?" kyctl wifi ssid
    expect "RobotNet"
    step "The card and its address" kyctl net card --wifi
    expect "10.77.0.162" "yes"
    fails 1 "A wrong password is refused in the tool's own words" \
        kyctl wifi connect RobotNet --password not-this-one
    expect "Secrets were required"
    step "And back" kyctl wifi connect RobotNet --password robotpass
fi
