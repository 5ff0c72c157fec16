# Boots a virtual machine with real host tools and runs the suite of tests/realhost in it.
#   --shell     a root shell on the machine's console, the site up, no suite
#   --keep      leave the machine running after the suite, with that shell
#   -R REGEX    only these tests
#   --rebuild   make the image again
set -euo pipefail
. packaging/dev/common.sh

want=suite keep= filter=. rebuild=
while [ $# -gt 0 ]; do
    case $1 in
        --shell) want=shell ;;
        --keep) keep=1 ;;
        --rebuild) rebuild=1 ;;
        -R) filter=$2 && shift ;;
        *) echo "dev realhost: unknown option $1" >&2 && exit 2 ;;
    esac
    shift
done

need $build_packages qemu-system-x86 qemu-utils mmdebstrap busybox-static e2fsprogs cpio kmod
build dev kyhostd kyctl ky_realhost

# The image is made once and kept outside of the repository, under a name that tells what went in.
cache=${XDG_CACHE_HOME:-$HOME/.cache}/kynetwork
digest=$(cd packaging/realhost && find . -type f | sort | xargs sha256sum | sha256sum | cut -c1-16)
image=$cache/realhost-$digest
[ -z "$rebuild" ] || rm -rf "$image"
if [ ! -d "$image" ]; then
    echo "dev: making the machine's image (some minutes, once)"
    mkdir -p "$cache"
    if ! bash packaging/realhost/image.sh "$image" >"$cache/image.log" 2>&1; then
        tail -20 "$cache/image.log" >&2
        echo "dev: the image was not made, see $cache/image.log" >&2
        exit 1
    fi
fi

run=$(mktemp -d)
trap 'rm -rf "$run"' EXIT
mkdir -p "$run/share/in" "$run/share/out"
cp -a build/bin build/lib "$run/share/in/"
cp -a build/tests/realhost "$run/share/in/tests"
cp -a packaging/realhost/run-suite "$run/share/in/job"
echo "$filter" >"$run/share/in/filter"
[ -z "$keep" ] && [ $want = suite ] || touch "$run/share/in/keep"
[ $want = suite ] || rm "$run/share/in/job"

qemu-img create -q -f qcow2 -b "$image/root.img" -F raw "$run/overlay.qcow2"

# A /dev/kvm that opens may still be unable to start this kernel: try it, with a limit.
accel="-accel tcg,thread=multi"
if [ -w /dev/kvm ] && timeout 20 qemu-system-x86_64 -accel kvm -m 256 -nographic -no-reboot \
    -kernel "$image/vmlinuz" -append "console=ttyS0 panic=-1" 2>/dev/null </dev/null |
    grep -q 'Unable to mount root\|No working init\|VFS:'; then
    accel="-accel kvm -cpu host"
fi
echo "dev: starting the machine (${accel#-accel })"

console="-serial file:$run/share/out/console.log"
[ -z "$keep" ] && [ $want = suite ] || console="-serial mon:stdio"
# shellcheck disable=SC2086
timeout --foreground "${KY_REALHOST_LIMIT:-3000}" qemu-system-x86_64 $accel -smp 2 -m 1536 \
    -display none -no-reboot $console \
    -kernel "$image/vmlinuz" -initrd "$image/initrd.gz" \
    -append "root=/dev/vda rw console=ttyS0 net.ifnames=0 biosdevname=0 mitigations=off audit=0 panic=-1 quiet" \
    -drive file="$run/overlay.qcow2",if=virtio,cache=unsafe \
    -netdev user,id=n0,restrict=on -device virtio-net-pci,netdev=n0 \
    -netdev user,id=n1,restrict=on -device e1000,netdev=n1 \
    -audiodev none,id=sound -device intel-hda -device hda-duplex,audiodev=sound \
    -object rng-random,id=rng,filename=/dev/urandom -device virtio-rng-pci,rng=rng \
    -virtfs local,path="$run/share",mount_tag=ky,security_model=none || true

[ $want = suite ] || exit 0
results=${KY_REALHOST_RESULTS:-build/realhost}
rm -rf "$results"
mkdir -p "$results"
cp -a "$run/share/out/." "$results/"
cat "$results/job.log" 2>/dev/null || { echo "dev: the machine did not come up, see $results" >&2; exit 1; }
exit "$(cat "$results/job.status" 2>/dev/null || echo 1)"
