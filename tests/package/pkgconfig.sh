# The same program by pkg-config alone.
set -euo pipefail
rm -rf "$WORK"
mkdir -p "$WORK"
export PKG_CONFIG_PATH=$PREFIX/$LIBDIR/pkgconfig
test "$(pkg-config --modversion kynetwork)" = 1.0.0
# shellcheck disable=SC2046
"$CXX" -std=c++17 -fPIC $(pkg-config --cflags kynetwork) "$(dirname "$0")"/program/*.cpp \
    -o "$WORK/integrator" $(pkg-config --libs kynetwork)
cd "$WORK"
LD_LIBRARY_PATH=$PREFIX/$LIBDIR ./integrator
