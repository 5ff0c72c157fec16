set -euo pipefail
. packaging/dev/common.sh
need $build_packages
build dev "$@"
