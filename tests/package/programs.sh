# The installed programs start from where they are.
set -euo pipefail
for program in kyhostd kyctl hostsim; do
    "$PREFIX/bin/$program" --help >/dev/null || {
        echo "$program does not start" >&2
        exit 1
    }
done
# Without another tree's libraries: each comes from beside the program.
! ldd "$PREFIX/bin/kyhostd" | grep libKy | grep -v "$PREFIX"
