# Builds, starts the daemon in a home of its own, shows a round of real requests through the
# client, and stays up until Ctrl-C. --once ends after the round, with status 0 only if every
# request was answered as expected and the daemon shut down cleanly.
set -euo pipefail
. packaging/dev/common.sh

is_port() {
    case $1 in
        '' | *[!0-9]* | ??????*) ;;
        *) [ "$1" -ge 1 ] && [ "$1" -le 32767 ] && return ;;
    esac
    echo "dev run: --port takes a number from 1 to 32767" >&2
    exit 2
}

port=
is_once=
is_real=
while [ $# -gt 0 ]; do
    case $1 in
        --once) is_once=1 ;;
        --real) is_real=1 ;;
        --port) port=${2-} && is_port "$port" && shift ;;
        *) echo "dev run: unknown option $1" >&2 && exit 2 ;;
    esac
    shift
done

need $build_packages $run_packages
build dev kyhostd kyctl hostsim hostsim-shim

bin=$PWD/build/bin
work=$(mktemp -d /tmp/kyhostd-run.XXXXXX)
home=$work/home
daemon_pid=
failures=0
steps=0

# Ends what was started here, whatever happens.
finish() {
    [ -z "$daemon_pid" ] || kill "$daemon_pid" 2>/dev/null || true
    [ -z "$daemon_pid" ] || wait "$daemon_pid" 2>/dev/null || true
    rm -rf "$work"
}
trap finish EXIT

. packaging/dev/round.sh

# Ports that nobody listens on, below those that the kernel gives to clients. The daemon takes no
# ports above 32767.
free_ports() {
    local count=$1 candidate found=()
    while [ ${#found[@]} -lt "$count" ]; do
        candidate=$((12000 + RANDOM % 16000))
        case " ${found[*]-} " in *" $candidate "*) continue ;; esac
        (exec 3<>"/dev/tcp/127.0.0.1/$candidate") 2>/dev/null || found+=("$candidate")
    done
    echo "${found[@]}"
}

write_settings() {
    local id=1 number
    for number in "$@"; do
        printf '[Server%d]\nport=%d\nthreadCount=4\npayload=1024\n\n' $id "$number"
        id=$((id + 1))
    done
    printf '[Host]\nhardwareType=-1\nautoConnectEnabled=true\ndataDir=data\nversion=1.0.0\ntbxName=demo\n'
}

# Only --real lets the daemon act on this machine's own network.
host=()
[ -n "$is_real" ] || host=("$bin/hostsim" run --state "$work/host" --)

start_daemon() {
    "${host[@]}" "$bin/kyhostd" --home "$home" --settings "$work/kyhostd.ini" \
        >"$work/out" 2>"$work/log" &
    daemon_pid=$!
    local waited=0
    until grep -q 'ready on ports' "$work/out"; do
        if ! kill -0 "$daemon_pid" 2>/dev/null || [ $waited -ge 200 ]; then
            echo "The daemon did not start:"
            cat "$work/log"
            exit 1
        fi
        sleep 0.1
        waited=$((waited + 1))
    done
    cat "$work/out"
}

stop_daemon() {
    local status=0
    # Ctrl-C has reached it already.
    kill -TERM "$daemon_pid" 2>/dev/null || true
    wait "$daemon_pid" || status=$?
    daemon_pid=
    echo
    echo "The daemon ended with status $status."
    [ $status -eq 0 ] || failures=$((failures + 1))
}

ports=($(free_ports 4))
[ -z "$port" ] || ports[0]=$port
write_settings "${ports[@]:0:3}" >"$work/kyhostd.ini"
export PATH=$bin:$PATH
export HOSTSIM_STATE=$work/host
export KY_PORT=${ports[0]} KY_LINK_PORT=${ports[1]} KY_REPORT_PORT=${ports[2]}
export KY_DEAD_PORT=${ports[3]} KY_WORK=$work

start_daemon
for round in packaging/dev/round.d/*.sh; do
    . "$round"
done
echo
echo "$steps requests, $failures not as expected."

if [ -z "$is_once" ]; then
    echo
    echo "The daemon stays up until Ctrl-C. Try it from another terminal:"
    echo "    $bin/kyctl --port $KY_PORT --help"
    if [ ${#host[@]} -gt 0 ]; then
        echo "Watch the robot roam, and weaken its access point from a third one:"
        echo "    $bin/kyctl --port $KY_PORT wifi watch"
        echo "    $bin/hostsim set --state $HOSTSIM_STATE ap1.level -80"
    fi
    trap ':' INT
    wait "$daemon_pid" || true
fi
[ -z "$daemon_pid" ] || stop_daemon
[ $failures -eq 0 ]
