# The installed headers are those of the interface, and no helper's; each compiles on its own,
# without a warning.
set -euo pipefail
include=$PREFIX/include/kynetwork
program=$(cd "$(dirname "$0")" && pwd)/program
flags=$(pkg-config --cflags Qt5Core Qt5Network Qt5SerialPort)

cd "$include"

# One header for each class of the interface, and none besides.
classes='host/BaseObject host/BaseThread host/PublicClass host/HttpApi host/KyFileManager
    host/SqliteClass service/VantHeader service/TcpSocket service/HCTcpServer
    service/KyNetworkObject service/FernoProClass service/WifiShare clients/BlockThreadTcp
    clients/BlockTcpObject clients/RelayServerThread clients/KyTcpClient clients/SCStatusTcp
    clients/RobotUdp clients/RobotUdpClient ports/CanFrame ports/CanDevice ports/CanObject
    ports/SocketCan ports/SystemSerialPort network/SystemNetwork network/WifiScanThread
    time/SystemNTP time/NTPPackage inventory/SystemAudio inventory/SystemVersionInfo'
# shellcheck disable=SC2086
diff <(printf '%s.h\n' $classes | sort) <(printf '%s\n' */*.h | sort) || {
    echo "expected headers (<) and installed ones (>)" >&2
    exit 1
}

# The integrator's program includes each of them and uses its class, so what is hidden fails there.
uses=$(grep -v '^#include' "$program/classes.cpp")
for class in $classes; do
    if ! grep -q "^#include <$class.h>" "$program/classes.cpp" ||
        ! grep -qw "${class#*/}" <<<"$uses"; then
        echo "$class.h: the program of this test does not use its class" >&2
        exit 1
    fi
done

# Of the helpers behind them a header may name types, no more: their functions are hidden.
helpers=$(awk '/^}/ { inside = 0 }
    inside && !/^((class|struct) [A-Za-z]+;)?$/ { print FILENAME ": " $0 }
    /namespace ky/ && !/^}/ { inside = 1 }' */*.h)
[ -z "$helpers" ] || {
    echo "helpers in installed headers:" >&2
    echo "$helpers" >&2
    exit 1
}

# Included twice: a header without its guard does not get past this.
compiles() {
    # shellcheck disable=SC2086
    printf '#include "%s"\n#include "%s"\n' "$1" "$1" |
        "$CXX" -std=c++17 -fPIC -fsyntax-only -Wall -Wextra -Wpedantic -Werror -x c++ \
            -I "$include" $flags - || {
        echo "$1 does not compile on its own" >&2
        return 1
    }
}
export -f compiles
export include flags
printf '%s\0' */*.h | xargs -0 -P "$(nproc)" -I{} bash -c 'compiles {}'
echo "$(ls */*.h | wc -l) headers"
