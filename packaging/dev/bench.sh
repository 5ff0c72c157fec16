# Release build; prints the tables and keeps them in bench/results/. Arguments: names of groups, all
# of them when none is named, and the options --rounds N and --seconds S of the service's groups.
set -euo pipefail
. packaging/dev/common.sh
need $build_packages socat

service=() others=() options=()
while [ $# -gt 0 ]; do
    case $1 in
        --rounds | --seconds) value_of "$@" && options+=("$1" "$2") && shift ;;
        requests | connections | upload | noise | commands) service+=("$1") ;;
        clients | ports | network | inventory) others+=("$1") ;;
        *)
            echo "usage: ./dev bench [--rounds N] [--seconds S] [requests] [connections] [upload]" \
                "[noise] [commands] [clients] [ports] [network] [inventory]" >&2
            exit 2
            ;;
    esac
    shift
done
partial=
if [ ${#service[@]}${#others[@]} = 00 ]; then
    service=(requests connections upload noise commands)
    others=(clients ports network inventory)
else
    partial=-part
    [ ${#service[@]} -gt 0 ] || service=(none)
fi
build bench

run_other() {
    case $1 in
        clients)
            echo "## Clients" && echo && build-bench/bin/bench_clients --pin
            ;;
        ports)
            echo "## Ports" && echo && build-bench/bin/ky_bench_ports
            ;;
        network)
            echo "## Network" && echo && build-bench/bin/bench_network && echo &&
                build-bench/bin/bench_supervision
            ;;
        inventory)
            echo "## Inventory" && echo && build-bench/bin/bench_inventory
            ;;
    esac
    echo
}

all() {
    local group status=0
    build-bench/bin/ky_bench "${options[@]}" "${service[@]}" || status=1
    for group in "${others[@]}"; do
        run_other "$group" || { echo "Failed: $group." && status=1; }
    done
    echo "Load average at the end: $(cut -d ' ' -f 1 /proc/loadavg)."
    return $status
}

# Named after the kind of machine, so that a later run shows as a difference.
mkdir -p bench/results
results=bench/results/$(nproc)-cores-$(uname -m)$partial.md
all | tee "$results.tmp"
mv "$results.tmp" "$results"
echo "bench: kept in $results" >&2
