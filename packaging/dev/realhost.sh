# Boots a virtual machine with real host tools and runs the suite of tests/realhost in it.
#   -R REGEX    only these programs
#   --keep      leave the machine running: the next run is there in seconds
#   --stop      end a machine that was left running
#   --shell     a root shell on the machine's console, the site up, no suite
#   --rebuild   make the image again
# KY_REALHOST_RUNS sets how often each time of the drive is taken (20), KY_REALHOST_CAN_RATE the
# frames per second of the CAN load, KY_REALHOST_LIMIT the seconds that the suite may take (3000),
# KY_REALHOST_RESULTS where logs go (build/realhost).
set -euo pipefail
. packaging/dev/common.sh

want=suite keep= filter=. rebuild=
while [ $# -gt 0 ]; do
    case $1 in
        --shell) want=shell ;;
        --keep) keep=1 ;;
        --stop) want=stop ;;
        --rebuild) rebuild=1 ;;
        -R) value_of "$@" && filter=$2 && shift ;;
        *) echo "dev realhost: unknown option $1" >&2 && exit 2 ;;
    esac
    shift
done

kept=build/realhost-machine # names the folder of a machine that was left running
run=

is_running() { [ -n "$run" ] && [ -e "$run/pid" ] && kill -0 "$(cat "$run/pid")" 2>/dev/null; }

stop_machine() {
    if is_running; then
        touch "$run/share/in/stop"
        for _ in $(seq 300); do is_running && sleep 0.1; done
        ! is_running || kill "$(cat "$run/pid")"
    fi
    [ -z "$run" ] || rm -rf "$run"
    rm -f "$kept"
}

make_image() {
    # The image is made once and kept outside of the repository, under a name that tells what went
    # in.
    local cache=${XDG_CACHE_HOME:-$HOME/.cache}/kynetwork digest
    digest=$(cd packaging/realhost && find . -type f | sort | xargs sha256sum | sha256sum |
        cut -c1-16)
    image=$cache/realhost-$digest
    [ -z "$rebuild" ] || rm -rf "$image"
    [ ! -d "$image" ] || return 0
    echo "dev: making the machine's image (some minutes, once)"
    mkdir -p "$cache"
    if ! bash packaging/realhost/image.sh "$image" >"$cache/image.log" 2>&1; then
        tail -20 "$cache/image.log" >&2
        echo "dev: the image was not made, see $cache/image.log" >&2
        exit 1
    fi
}

# A /dev/kvm that opens may still be unable to start this kernel: try it, with a limit.
choose_accelerator() {
    accel="-accel tcg,thread=multi"
    if [ -w /dev/kvm ] && timeout 20 qemu-system-x86_64 -accel kvm -m 256 -nographic -no-reboot \
        -kernel "$image/vmlinuz" -append "console=ttyS0 panic=-1" 2>/dev/null </dev/null |
        grep -q 'Unable to mount root\|No working init\|VFS:'; then
        accel="-accel kvm -cpu host"
    fi
}

# machine CONSOLE: runs the machine in the foreground. Its second and third serial ports are wired
# to one another.
machine() {
    # shellcheck disable=SC2086
    exec qemu-system-x86_64 $accel -smp 2 -m 1536 -display none -no-reboot -serial "$1" \
        -chardev socket,id=wire0,path="$run/wire",server=on,wait=off -serial chardev:wire0 \
        -chardev socket,id=wire1,path="$run/wire" -serial chardev:wire1 \
        -kernel "$image/vmlinuz" -initrd "$image/initrd.gz" \
        -append "root=/dev/vda rw console=ttyS0 net.ifnames=0 biosdevname=0 mitigations=off audit=0 panic=-1 quiet" \
        -drive file="$run/overlay.qcow2",if=virtio,cache=unsafe \
        -netdev user,id=n0,restrict=on -device virtio-net-pci,netdev=n0 \
        -netdev user,id=n1,restrict=on -device e1000,netdev=n1 \
        -audiodev none,id=sound -device intel-hda -device hda-duplex,audiodev=sound \
        -object rng-random,id=rng,filename=/dev/urandom -device virtio-rng-pci,rng=rng \
        -virtfs local,path="$run/share",mount_tag=ky,security_model=none
}

prepare_machine() {
    make_image
    choose_accelerator
    run=$(mktemp -d)
    mkdir -p "$run/share/in" "$run/share/out"
    qemu-img create -q -f qcow2 -b "$image/root.img" -F raw "$run/overlay.qcow2"
    echo "dev: starting the machine (${accel#-accel })"
}

start_machine() {
    prepare_machine
    cp packaging/realhost-job/serve "$run/share/in/job"
    (machine "file:$run/share/out/console.log") >"$run/share/out/qemu.log" 2>&1 </dev/null &
    echo $! >"$run/pid"
    echo "$run" >"$kept"
}

# What the machine is to run: this tree as it is now.
fill_share() {
    local in=$run/share/in
    rm -rf "$in/bin" "$in/lib" "$in/tests"
    mkdir -p "$in/bin" "$in/tests"
    cp -a build/bin/kyhostd build/bin/kyctl "$in/bin/"
    cp -a build/lib "$in/"
    find build/tests/realhost -maxdepth 1 -type f -name 'tst_*' -exec cp -a {} "$in/tests/" \;
    cp packaging/realhost-job/run-suite "$in/"
    printf 'export KY_FILTER=%q KY_REALHOST_RUNS=%q\n' "$filter" "${KY_REALHOST_RUNS:-20}" \
        >"$in/environment"
    [ -z "${KY_REALHOST_CAN_RATE:-}" ] ||
        printf 'export KY_REALHOST_CAN_RATE=%q\n' "$KY_REALHOST_CAN_RATE" >>"$in/environment"
}

# Runs the suite in the machine and prints its log as it grows.
run_suite() {
    local out=$run/share/out end=$((SECONDS + ${KY_REALHOST_LIMIT:-3000})) shown=0 size
    rm -f "$out"/suite.* "$out"/tst_*
    touch "$run/share/in/go"
    while is_running && [ ! -e "$out/suite.status" ] && [ $SECONDS -lt $end ]; do
        sleep 1
        size=$(stat -c %s "$out/suite.log" 2>/dev/null || echo 0)
        [ "$size" -eq $shown ] || tail -c +$((shown + 1)) "$out/suite.log" | head -c $((size - shown))
        shown=$size
    done
    tail -c +$((shown + 1)) "$out/suite.log" 2>/dev/null || true
    results=${KY_REALHOST_RESULTS:-build/realhost}
    rm -rf "$results"
    mkdir -p "$results"
    cp -a "$out/." "$results/"
}

run=$(cat "$kept" 2>/dev/null || true)
if [ $want = stop ]; then
    stop_machine
    exit 0
fi
need $build_packages qemu-system-x86 qemu-utils mmdebstrap busybox-static e2fsprogs cpio kmod
if [ $want = shell ]; then
    prepare_machine
    trap 'rm -rf "$run"' EXIT
    touch "$run/share/in/keep"
    (machine mon:stdio) || true
    exit 0
fi

build dev kyhostd kyctl ky_realhost
[ -n "$keep" ] || trap stop_machine EXIT
is_running || start_machine
fill_share
run_suite
[ -e "$results/up" ] || echo "dev: the machine did not come up, see $results" >&2
status=$(cat "$results/suite.status" 2>/dev/null || echo 1)
[ -z "$keep" ] || echo "dev: the machine is still running, ./dev realhost --stop ends it"
exit "$status"
