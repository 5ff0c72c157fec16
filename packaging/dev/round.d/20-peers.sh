# Requests that the daemon makes of others.
step "The daemon asks another one; here that is itself" \
    kyctl peer call 127.0.0.1 "$KY_PORT" version
expect "ret_code" "12002"

fails 1 "A peer that is not there" kyctl peer call 127.0.0.1 "$KY_DEAD_PORT" version
expect "40101"

fails 3 "A daemon that is not there" kyctl_at "$KY_DEAD_PORT" version
expect "no answer from 127.0.0.1:$KY_DEAD_PORT" "Connection refused"
