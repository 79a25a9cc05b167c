# Sourced by run, check and the tools, in the project's folder: installs missing Debian packages, and builds without the
# compilers' output.
[ -e /proc/self/fd/0 ] || exec < /dev/null # standard input can be closed
. device/image/sim/help
. tools/jobs.sh

[ "$EUID" != 0 ] || umask 022 # root's device runs as nobody, who must be able to read the build
case $PWD in
*[][\"\;\$\`\\,\|]* | *$'\n'*) fail "cmake and the linker cannot work in a folder with one of [ ] \" ; \$ \` \\ , | or a line end in its name: $(printf %q "$PWD")" ;;
esac

# check_room fails when build or the compiler's folder for temporary files is full or read-only.
check_room() {
    local folder cause
    cause=$(mkdir -p build 2>&1) || fail "cannot create $PWD/build: ${cause##*: }"
    for folder in "$PWD/build" "${TMPDIR:-/tmp}"; do
        cause=$({ head -c 1000000 /dev/zero > "$folder/.room.$$"; } 2>&1) || {
            rm -f "$folder/.room.$$"
            fail "cannot write to $folder: ${cause##*: }"
        }
        rm "$folder/.room.$$"
    done
}

# need PACKAGE... installs the missing ones of these packages. A command calls it once, for all its packages.
need() {
    local missing installed sudo=
    command -v dpkg-query > /dev/null || fail "this is not a Debian machine, and these packages are needed: $*"
    installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2> /dev/null |
        sed -n 's/^installed //p') || true # it fails for a package that it does not know
    missing=$(printf '%s\n' "$@" | { grep -vxF "${installed:-none}" || true; } | sort -u)
    [ -n "$missing" ] || return 0
    set -- $missing
    check_room
    if [ "$(id -u)" != 0 ]; then
        sudo=sudo
        command -v sudo > /dev/null || fail_to_install "only root can install packages, and there is no sudo" "$@"
    fi
    say "installing $# package$([ $# = 1 ] || echo s): $*"
    if [ -n "$sudo" ]; then # in the foreground, where it can ask for a password
        apt_install "$@" < /dev/null
    else
        together show_install "$@" < /dev/null
    fi || fail_to_install "these packages could not be installed: $(apt_complaint)" "$@"
}
apt_complaint() {
    grep -v 'unable to resolve host' build/packages.log | grep -m1 -E '^(W|E|dpkg|sudo):' || echo "build/packages.log tells why"
}
fail_to_install() {
    say "$1. As root, run:"
    echo "apt-get update && apt-get install -y --no-install-recommends ${*:2}" >&2
    exit 1
}
# apt runs to its end, also when this command is interrupted: otherwise packages would be half installed.
apt_install() {
    local is_reported=
    until $sudo setsid --wait env DEBIAN_FRONTEND=noninteractive LC_ALL=C sh -c 'dpkg --configure -a && # completes an interrupted installation
        apt-get update -qq && apt-get install -y -qq --no-install-recommends "$@"' - "$@" > build/packages.log 2>&1; do
        grep -qE 'Could not get lock|locked by another process' build/packages.log || return 1
        [ -n "$is_reported" ] || say "waiting for another apt or dpkg to end"
        is_reported=1
        sleep 1
    done
}
show_install() {
    local install start=$SECONDS
    apt_install "$@" &
    install=$!
    while kill -0 $install 2> /dev/null; do
        progress "installing ($((SECONDS - start)) s)"
        sleep 0.3
    done
    progress_end
    wait $install
}

need_build_tools() {
    need cmake ninja-build pkg-config gcc g++ libc6-dev libmxml-dev libsqlite3-dev libgtest-dev \
        libbenchmark-dev nlohmann-json3-dev busybox bridge-utils iproute2 util-linux "$@"
}

# build PRESET [TARGET...] builds the targets, or all, as far as they have changed. One build runs at a time.
build() { together build_alone "$@" < /dev/null; }
build_alone() {
    local log=build/$1.log
    check_room
    exec 9> build/.lock
    if ! flock -n 9; then
        say "waiting for another build in this folder to end"
        flock 9
    fi
    forget_moved
    if ! make_preset "$@" 2>&1 | tee "$log" | follow "building $1"; then
        check_room
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

# A build contains the name of its folder. After the project was moved or copied, it would write to the old folder, so this
# removes it. It keeps the inputs that the fuzz program has found.
forget_moved() {
    local cache
    for cache in build/*/CMakeCache.txt; do
        if [ -e "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$cache"; then
            say "$PWD was moved or copied: removing ${cache%/*} to build it again"
            find "${cache%/*}" -mindepth 1 -maxdepth 1 ! -name found ! -name corpus -exec rm -rf {} +
        fi
    done
}
