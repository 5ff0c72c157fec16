# Builds everything and runs every test, plain and under the sanitizers.
set -euo pipefail
. packaging/dev/common.sh
need $build_packages $test_packages

kinds="dev sanitize"
filter=()
while [ $# -gt 0 ]; do
    case $1 in
        --plain) kinds=dev ;;
        --sanitize) kinds=sanitize ;;
        -R) filter=(-R "$2") && shift ;;
        *) echo "dev test: unknown option $1" >&2 && exit 2 ;;
    esac
    shift
done

for kind in $kinds; do
    build "$kind"
    folder=build
    [ "$kind" = dev ] || folder=build-$kind
    ctest --test-dir "$folder" --output-on-failure -j "$(nproc)" --no-tests=error "${filter[@]}"
done
