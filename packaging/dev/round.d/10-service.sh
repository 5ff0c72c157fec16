# The service: requests, an upload, errors.
step "Who is there?" kyctl version
expect "daemon" "1.0.0"

step "What can it do?" kyctl commands
expect "echo" "upload" "link_status"

step "Both areas of a frame come back as they went" kyctl call echo '{"hello":"世界"}'
expect '{"hello":"世界"}'

step "The same, frame by frame" kyctl probe echo --json-area '{"a":1}' --data hello
expect "[Request]" "[Response]" "Type:12000" "hello"

head -c 20000000 /dev/urandom >"$KY_WORK/upgrade.zip"
step "A file of 20 MB; the answer is what is on the disk over there" \
    kyctl upload "$KY_WORK/upgrade.zip"
expect "100 %" "20000000" "$(sha256sum "$KY_WORK/upgrade.zip" | cut -d' ' -f1)"

fails 1 "A command that nobody knows is answered, too" kyctl call 4999
expect "40001"
