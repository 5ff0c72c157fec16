# A roam, and a link that is lost and found, on the simulated host only.

# wait_for TEXT COMMAND…: runs it again and again until it prints the text, 30 s at most. What has
# become of it then is for the step behind.
wait_for() {
    local wanted=$1 waited=0
    shift
    while [ $waited -lt 150 ]; do
        case $("$@" 2>/dev/null) in *"$wanted"*) return 0 ;; esac
        sleep 0.2
        waited=$((waited + 1))
    done
}

# Puts keys of the group WirelessCard, "KEY=VALUE" each, into the settings of the network.
set_wireless() {
    local file=$home/appInfo/setting/WirelessCard.ini pair
    for pair in "$@"; do
        sed -i -e "/^${pair%%=*}=/d" -e "/^\[WirelessCard\]/a $pair" "$file"
    done
}

if [ ${#host[@]} -gt 0 ]; then
    step "Let it roam" kyctl wifi roaming on
    set_wireless autoConnectWaitTime=5000
    step "A look every 5 seconds" kyctl net settings --reload
    step "From now on" kyctl net supervision on
    expect "is_cycling"
    step "Where is it now?" kyctl wifi status
    expect "RobotNet on 02:00:00:00:01:00"

    step "The robot drives away from its access point" hostsim set ap1.level -80
    wait_for 02:00:00:00:05:00 hostsim get wlan0.bssid
    step "It has roamed" kyctl wifi watch --count 1
    expect "RobotNet on 02:00:00:00:05:00" "last decision: Switch AP(5G):-80->-65(7)" \
        "last roam: Switch AP:02:00:00:00:05:00"

    step "Roaming off; from now on it only tells" kyctl wifi roaming off
    set_wireless PingIP=10.77.0.1 DisconnectionMethod=1 isDisconnectionSendError=true
    step "The settings are read again" kyctl net settings --reload
    wait_for '"state":"good"' kyctl --json link status
    step "The link is good (frame 4803)" kyctl --json link status
    expect '"state":"good"'
    step "Every access point goes off" hostsim set ap1.on false ap2.on false ap5.on false
    wait_for '"state":"lost"' kyctl --json link status
    step "The loss is told within a cycle (frame 4802)" kyctl --json link status
    expect '"state":"lost"' "The network has been disconnected:10.77.0.1"
    step "They are back, the first one as strong as before" \
        hostsim set ap1.on true ap1.level -45 ap2.on true ap5.on true
    wait_for '"state":"good"' kyctl --json link status
    step "The link is found" kyctl --json link status
    expect '"state":"good"'
    set_wireless DisconnectionMethod=0 isDisconnectionSendError=false
    step "And the robot roams again, for whoever changes its levels" kyctl wifi roaming on
    step "The settings once more" kyctl net settings --reload
    step "It is where it began" kyctl wifi status
    expect "RobotNet on 02:00:00:00:01:00"
fi
