#!/usr/bin/env bash
# Unpacks Debian's packages to a root in build/sysroot, for cross-builds: sysroot.sh ARCHITECTURE | musl | musl-armhf
#
# It does not install the packages, and has its own package lists: this machine needs no foreign architecture, and its
# packages and sources do not change. For musl it builds libmxml from its source package, in the version of this machine,
# and a libcfgdb that only serves the linker.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
packages="libc6 libc6-dev linux-libc-dev libgcc-s1 libstdc++6 libmxml1 libmxml-dev libsqlite3-0 libsqlite3-dev"
architecture=$1 gcc=
case $1 in
musl) architecture=amd64 gcc=gcc target=x86_64-linux-musl ;;
musl-armhf) architecture=armhf gcc=arm-linux-gnueabihf-gcc target=arm-linux-musleabihf ;;
esac
[ -z "$gcc" ] || packages="musl musl-dev linux-libc-dev mxml=$(dpkg-query -W -f '${source:Version}' libmxml-dev)"
root=$PWD/build/sysroot/$1
[ "$(cat "$root/.packages" 2> /dev/null)" != "$packages" ] || exit 0

# The start files and routines of the compiler come from gcc. They are copied to the C library's folder, where the linker
# looks. libmxml is built in a temporary folder: configure fails when a folder's name has a blank or a quote.
build_for_musl() {
    local libgcc folder compile="clang --target=$target --sysroot=root -fuse-ld=lld -static-libgcc -Wno-unused-command-line-argument"
    libgcc=$(dirname "$($gcc -print-libgcc-file-name)")
    cp -r "$root"/usr/include/*-linux-*/. "$root/usr/include"
    cp -r "$root"/usr/lib/*-linux-musl*/. "$libgcc"/{crtbegin*.o,crtend*.o,libgcc*.a} "$root/usr/lib"
    folder=$(mktemp -d)
    cp -r mxml-*/. "$folder"
    cd "$folder"
    ln -s "$root" root
    ./configure --host="${target/musl/gnu}" --prefix=/usr CC="$compile" CFLAGS=-Os
    make libmxml.so.1.6
    cp -d libmxml.so* "$root/usr/lib"
    printf 'void %s(void) {}\n' __cfgdb_open cfgdb_{close,get,get_int,set,set_int} |
        $compile -shared -nostdlib -Wl,-soname,libcfgdb.so -x c - -o "$root/usr/lib/libcfgdb.so"
    install -D -m 644 mxml.h -t "$root/usr/include"
    install -D -m 644 mxml.pc -t "$root/usr/lib/pkgconfig"
    rm -r "$folder"
}

rm -rf "$root"
mkdir -p "$root/usr/lib" "$root"/.apt/{archives/partial,lists/partial,sources}
ln -s usr/lib "$root/lib"
cd "$root/.apt"
options=(-qq -o "APT::Architecture=$architecture" -o "APT::Architectures=$architecture" -o APT::Sandbox::User=
    -o "Dir::State=$PWD" -o Dir::State::status=/dev/null -o "Dir::Cache=$PWD" -o Acquire::Languages=none)
if [ -n "$gcc" ]; then # the machine's own sources, with their source packages
    find /etc/apt -maxdepth 2 \( -name '*.list' -o -name '*.sources' \) -exec cp -t sources {} +
    sed -i 's/^Types:.*/Types: deb deb-src/; s/^deb \(.*\)/&\ndeb-src \1/' sources/*.*
    options+=(-o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$PWD/sources")
fi
apt-get "${options[@]}" update || true # a missing list may not be needed: the download fails if it is
apt-get "${options[@]}" download ${packages%mxml=*}
[ -z "$gcc" ] || apt-get "${options[@]}" source "${packages##* }"
for package in *.deb; do
    dpkg-deb --fsys-tarfile "$package" | tar -x -C "$root" --no-same-owner --keep-directory-symlink
done
[ -z "$gcc" ] || (build_for_musl)
# Makes absolute links relative: a linker would follow them to files of this machine.
find "$root" -type l -lname '/*' | while read -r link; do
    ln -sfrT "$root$(readlink "$link")" "$link"
done
rm -rf "$root"/.apt "$root"/usr/share
echo "$packages" > "$root/.packages"
