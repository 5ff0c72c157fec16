# The tree is installed afresh, below a folder of the build.
set -euo pipefail
rm -rf "$PREFIX"
"$CMAKE" --install "$BUILD" --prefix "$PREFIX" >/dev/null
test -e "$PREFIX/$LIBDIR/libKyNetwork.so.1"
test -e "$PREFIX/include/kynetwork/service/KyNetworkObject.h"
