# Link supervision: reports to the side port, remembered and passed on.
step "What does link supervision say?" kyctl link status
expect "unknown"

kyctl watch event_link --count 1 >"$KY_WORK/event" 2>&1 &
watch_pid=$!
# The watcher is there when the daemon has taken its subscription; a report is repeated until then.
for _ in 1 2 3 4 5 6 7 8 9 10; do
    step "Link supervision reports a lost link" \
        kyctl_at "$KY_LINK_PORT" call 4802 '{"msg":"no answer from 10.0.0.1"}'
    sleep 0.2
    kill -0 $watch_pid 2>/dev/null || break
done
wait $watch_pid || true
step "The event that a watcher saw meanwhile" cat "$KY_WORK/event"
expect "state=lost" "no answer from 10.0.0.1"

step "And now?" kyctl link status
expect "lost" "no answer from 10.0.0.1"
