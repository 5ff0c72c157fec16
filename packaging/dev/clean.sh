set -euo pipefail
rm -rf build build-sanitize build-bench build-fuzz
