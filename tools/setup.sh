# Sourced by run, check and the tools, in the project's folder: installs missing Debian packages, builds quietly.
[ -e /proc/self/fd/0 ] || exec < /dev/null # it may be closed
. device/image/sim/help
. tools/jobs.sh

# need PACKAGE... installs those that are not there.
need() {
    local missing installed
    command -v dpkg-query > /dev/null || fail "this is no Debian machine: nothing here can install $*"
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2> /dev/null |
        sed -n 's/^installed //p') || true # it fails when there is one that it does not know
    missing=$(printf '%s\n' "$@" | { grep -vxF "${installed:-none}" || true; } | tr '\n' ' ')
    [ -n "$missing" ] || return 0
    say "installing $(wc -w <<< "$missing") packages: $missing"
    if [ "$(id -u)" = 0 ]; then
        together install_packages $missing < /dev/null
    elif command -v sudo > /dev/null; then # in the foreground, where it can ask for a password
        sudo "$BASH" -c "$(declare -f apt_install); apt_install $missing"
    else
        fail "that takes root, and there is no sudo: as root, run apt-get install $missing"
    fi || fail "these packages could not be installed; try as root: apt-get update && apt-get install $missing"
}
apt_install() {
    export DEBIAN_FRONTEND=noninteractive
    dpkg --configure -a > /dev/null && # what an interrupt has left
        apt-get update -qq && apt-get install -y -qq --no-install-recommends "$@" > /dev/null
}
install_packages() {
    mkdir -p build
    { apt_install "$@" 2>&1 | tee build/packages.log | follow "installing"; } || { cat build/packages.log >&2; return 1; }
}

need_build_tools() {
    need cmake ninja-build pkg-config gcc g++ libc6-dev libmxml-dev libsqlite3-dev libgtest-dev \
        libbenchmark-dev nlohmann-json3-dev busybox bridge-utils iproute2 util-linux
}

# build PRESET [TARGET...] configures and builds what is not up to date: the targets, or all. One build at a time.
build() { together build_alone "$@" < /dev/null; }
build_alone() {
    local log=build/$1.log
    mkdir -p build && : 2> /dev/null 9> build/.lock || fail "cannot write to $PWD/build: does it belong to another user?"
    exec 9> build/.lock
    if ! flock -n 9; then
        say "another build is going on in this folder; waiting for it"
        flock 9
    fi
    forget_moved
    if ! make_preset "$@" 2>&1 | tee "$log" | follow "building $1"; then
        cat "$log" >&2
        return 1
    fi
    exec 9>&-
}
make_preset() {
    local preset=$1
    shift
    case $preset in i386 | armhf | musl*) tools/sysroot.sh $preset || return ;; esac
    [ "build/$preset/build.ninja" -nt CMakePresets.json ] || cmake --preset $preset || return
    NINJA_STATUS='%s of %t ' cmake --build --preset $preset ${1:+--target "$@"}
}

# A build knows its folder by name: one that was moved or copied with the project would write to the old place.
# What the fuzz program has found is kept.
forget_moved() {
    local cache
    for cache in build/*/CMakeCache.txt; do
        if [ -e "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$cache"; then
            say "$PWD was moved or copied: building ${cache%/*} anew"
            find "${cache%/*}" -mindepth 1 -maxdepth 1 ! -name found ! -name corpus -exec rm -rf {} +
        fi
    done
}
