# Each installed header compiles on its own, without a warning; the headers are those of the
# interface, and no helper's.
set -euo pipefail
include=$PREFIX/include/kynetwork
flags=$(pkg-config --cflags Qt5Core Qt5Network Qt5SerialPort)

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
cd "$include"
printf '%s\0' */*.h | xargs -0 -P "$(nproc)" -I{} bash -c 'compiles {}'

for class in host/BaseObject host/BaseThread host/PublicClass host/HttpApi host/KyFileManager \
    host/SqliteClass service/VantHeader service/TcpSocket service/HCTcpServer \
    service/KyNetworkObject service/FernoProClass service/WifiShare clients/BlockThreadTcp \
    clients/BlockTcpObject clients/RelayServerThread clients/KyTcpClient clients/SCStatusTcp \
    clients/RobotUdp clients/RobotUdpClient ports/CanFrame ports/CanDevice ports/CanObject \
    ports/SocketCan ports/SystemSerialPort network/SystemNetwork network/WifiScanThread time/SystemNTP \
    time/NTPPackage inventory/SystemAudio inventory/SystemVersionInfo; do
    test -e "$include/$class.h" || { echo "$class.h is not installed" >&2; exit 1; }
done
echo "$(ls */*.h | wc -l) headers"
