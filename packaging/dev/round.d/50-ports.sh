# CAN and serial ports: what can be shown without hardware.
step "Saved CAN ports" kyctl can ports save can0=250000 can1=500000
expect "done"

step "What CAN ports are there?" kyctl can list
expect "can0" "250000" "can1" "500000"

step "A port that the robot does not have any more" kyctl can ports remove can1
expect "done"

fails 1 "Frames go to open ports only" kyctl can send can0 18FF50E5#0102A0
expect "[%1] Not opened"

fails 2 "A frame that is none" kyctl can send can0 123#1
expect "is no frame"

step "Saved serial ports" kyctl serial ports save ttyDemo0=115200 --parity even
expect "done"

step "What serial ports are there? -1 is one that is not plugged in" kyctl serial list
expect "ttyDemo0  115200  -1"

fails 1 "It cannot be opened, then" kyctl serial open ttyDemo0 115200
expect "Failed to open serial port:"

# A device that says back what it hears.
socat "pty,raw,echo=0,link=$KY_WORK/line" exec:cat 2>/dev/null &
line_pid=$!
for _ in $(seq 50); do
    [ -e "$KY_WORK/line" ] && break
    sleep 0.1
done
step "A serial line with a device on it" kyctl serial open "$KY_WORK/line" 115200
step "What does it say?" kyctl serial exchange --text "status?"
expect "status?"
step "Enough" kyctl serial close
kill $line_pid 2>/dev/null || true
wait $line_pid 2>/dev/null || true
