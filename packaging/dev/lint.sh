# Checks the format of all tracked C++ files, and runs clang-tidy on those that changed since this
# branch left main (on main: since the commit before). --all: on all of them.
set -euo pipefail
. packaging/dev/common.sh
need $build_packages clang-format clang-tidy

mapfile -t sources < <(git ls-files '*.cpp' '*.h' '*.c')
clang-format --dry-run --Werror "${sources[@]}"
echo "lint: the format of ${#sources[@]} files is right"

since() {
    local fork
    fork=$(git merge-base HEAD main 2>/dev/null || git merge-base HEAD origin/main 2>/dev/null || true)
    if [ -z "$fork" ] || [ "$fork" = "$(git rev-parse HEAD)" ]; then
        fork=$(git rev-parse -q --verify HEAD~1 || true)
    fi
    echo "$fork"
}

if [ "${1:-}" = --all ]; then
    mapfile -t changed < <(git ls-files '*.cpp')
else
    mapfile -t changed < <(git diff --name-only --diff-filter=d "$(since)" -- '*.cpp')
fi

# clang-tidy reads how each file is compiled, and the sources that the build generates.
[ -f build/build.ninja ] || cmake --preset dev >/dev/null
ninja -C build -t targets all | sed -n 's/^\(.*_autogen\): phony$/\1/p' |
    xargs ninja -C build >/dev/null
compiled=$(grep -o '"file": "[^"]*"' build/compile_commands.json | cut -d'"' -f4)
checked=()
for file in "${changed[@]}"; do
    grep -qxF "$PWD/$file" <<<"$compiled" && checked+=("$file")
done
if [ ${#checked[@]} -eq 0 ]; then
    echo "lint: no compiled file has changed"
    exit
fi
echo "lint: clang-tidy on ${#checked[@]} files"
printf '%s\0' "${checked[@]}" | xargs -0 -P "$(nproc)" -n 1 clang-tidy -p build --quiet
echo "lint: nothing found"
