#!/usr/bin/env bash
# Makes a device's root to build against from Debian's packages: sysroot.sh ARCHITECTURE
#
# It goes to build/sysroot/ARCHITECTURE. The packages are unpacked there and not installed, with lists
# of their own, so this machine needs no foreign architecture and keeps its packages as they are.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
packages="libc6 libc6-dev linux-libc-dev libgcc-s1 libstdc++6 libmxml1 libmxml-dev libsqlite3-0 libsqlite3-dev"
root=$PWD/build/sysroot/$1
[ "$(cat "$root/.packages" 2> /dev/null)" != "$packages" ] || exit 0

rm -rf "$root"
mkdir -p "$root/usr/lib" "$root"/.apt/{archives,lists}/partial
ln -s usr/lib "$root/lib"
cd "$root/.apt"
options="-qq -o APT::Architecture=$1 -o APT::Architectures=$1 -o APT::Sandbox::User= -o Dir::State=$PWD
    -o Dir::State::status=/dev/null -o Dir::Cache=$PWD -o Acquire::Languages=none"
apt-get $options update || true # a list that cannot be had now may not be needed: the download tells
apt-get $options download $packages
for package in *.deb; do
    dpkg-deb --fsys-tarfile "$package" | tar -x -C "$root" --no-same-owner --keep-directory-symlink
done
# A linker outside of this root would follow its absolute links to this machine's own files.
find "$root" -type l -lname '/*' | while read -r link; do
    ln -sfrT "$root$(readlink "$link")" "$link"
done
rm -rf "$root"/.apt "$root"/usr/share
echo "$packages" > "$root/.packages"
