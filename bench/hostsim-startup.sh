#!/bin/sh
# What one call of a stand-in costs, the shell's fork included: bench/hostsim-startup.sh [HOSTSIM]
# Goal: under 10 ms a call on an idle machine. /bin/true gives the share of fork and exec.
set -eu
hostsim=${1:-build/bin/hostsim}
calls=200

"$hostsim" run --lang en -- bash -c '
calls=$1
measure() {
    TIMEFORMAT="%R %U %S"
    { time for ((i = 0; i < calls; ++i)); do "$@" >/dev/null 2>&1; done; } 2>&1 |
        awk -v name="$*" -v calls="$calls" "{
            printf \"%-36s %6.2f ms a call, %5.2f ms of processor time\\n\", name,
                \$1 * 1000 / calls, (\$2 + \$3) * 1000 / calls }"
}
measure /bin/true
measure iw wlan0 link
measure sudo wpa_cli -i wlan0 scan_result
measure nmcli device status
measure nmcli connection show
measure ifconfig -a
measure sudo nmcli connection reload
' bash "$calls"
