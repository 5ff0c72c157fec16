# Release build; prints the tables and keeps them in bench/results/. Arguments go to ky_bench.
set -euo pipefail
. packaging/dev/common.sh
need $build_packages socat
build bench
results=bench/results/$(date +%F)-$(hostname).md
build-bench/bin/ky_bench --output "$results" "$@"
{ echo && build-bench/bin/bench_network; } | tee -a "$results"
