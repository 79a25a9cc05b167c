# Sourced by run and check: installs missing Debian packages, builds quietly.

# need PACKAGE... installs those that are not there; names what it does on standard error.
need() {
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2> /dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "$0: installing ${missing[*]}" >&2
    local as_root=()
    [ "$(id -u)" = 0 ] || as_root=(sudo)
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive sh -c \
        'apt-get update -qq && apt-get install -y -qq --no-install-recommends "$@"' - \
        "${missing[@]}" > /dev/null
}

need_build_tools() {
    need cmake ninja-build pkg-config gcc g++ libc6-dev libmxml-dev libsqlite3-dev libgtest-dev \
        libbenchmark-dev busybox bridge-utils iproute2 util-linux
}

# build PRESET configures and builds, and shows the output only when that fails.
build() {
    local log=build/$1.log
    mkdir -p build
    if ! {
        case $1 in i386 | armhf) tools/sysroot.sh "$1" ;; esac &&
            { [ -f "build/$1/build.ninja" ] || cmake --preset "$1"; } && cmake --build --preset "$1"
    } > "$log" 2>&1; then
        cat "$log" >&2
        return 1
    fi
}
