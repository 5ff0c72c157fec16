# A program finds the package by find_package() and runs.
set -euo pipefail
rm -rf "$WORK"
"$CMAKE" -G Ninja -S "$(dirname "$0")/program" -B "$WORK" -DCMAKE_PREFIX_PATH="$PREFIX" \
    -DCMAKE_CXX_COMPILER="$CXX" >/dev/null
"$CMAKE" --build "$WORK" >/dev/null
cd "$WORK"
./integrator
