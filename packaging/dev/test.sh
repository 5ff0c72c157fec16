# Builds everything and runs every test: under the sanitizers, the fuzz targets for a bounded number
# of runs, and plain. That comes last, so that the summary at the end is that of the whole suite.
set -euo pipefail
. packaging/dev/common.sh
need $build_packages $test_packages

kinds="sanitize fuzz dev"
filter=()
while [ $# -gt 0 ]; do
    case $1 in
        --plain) kinds=dev ;;
        --sanitize) kinds=sanitize ;;
        --fuzz) kinds=fuzz ;;
        -R) value_of "$@" && kinds=${kinds/ fuzz/} && filter=(-R "$2") && shift ;;
        *) echo "dev test: unknown option $1" >&2 && exit 2 ;;
    esac
    shift
done

for kind in $kinds; do
    if [ "$kind" = fuzz ]; then
        build fuzz ky_fuzz
    else
        build "$kind"
    fi
    folder=build
    [ "$kind" = dev ] || folder=build-$kind
    ctest --test-dir "$folder" --output-on-failure -j "$(nproc)" --no-tests=error "${filter[@]}"
done
