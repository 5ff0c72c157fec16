# Release build; prints the tables and keeps them in bench/results/. Arguments go to ky_bench.
set -euo pipefail
. packaging/dev/common.sh
need $build_packages socat
build bench
build-bench/bin/ky_bench --output "bench/results/$(date +%F)-$(hostname).md" "$@"
