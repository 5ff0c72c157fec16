# Shared by the verbs: packages of the host, and building.

build_packages="g++ cmake ninja-build ccache pkg-config qtbase5-dev libqt5serialport5-dev
    libqt5sql5-sqlite rapidjson-dev git"
test_packages="lld clang libclang-rt-dev openssl chrony can-utils curl"
run_packages="socat"

# value_of OPTION [VALUE …]: ends the command where an option that takes a value has none.
value_of() {
    [ $# -ge 2 ] || { echo "dev: $1 takes a value" >&2 && exit 2; }
}

# Installs what is missing of the named packages, and asks nothing when all are there.
need() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "dev: installing ${missing[*]}"
    local root=()
    [ "$(id -u)" -eq 0 ] || root=(sudo)
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# The cache serves every checkout of the project on this machine.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 CCACHE_SLOPPINESS=pch_defines,time_macros

# build PRESET [TARGET …]
build() {
    local preset=$1
    shift
    local folder=build
    [ "$preset" = dev ] || folder=build-$preset
    [ -f "$folder/build.ninja" ] || cmake --preset "$preset" >"/tmp/ky-configure.$$" 2>&1 || {
        cat "/tmp/ky-configure.$$" >&2
        exit 1
    }
    rm -f "/tmp/ky-configure.$$"
    cmake --build "$folder" ${1:+--target "$@"}
}
