#!/usr/bin/env bash
# A C daemon against an installed tree, with what pkg-config says and nothing else: consumer_test.sh BUILD-FOLDER
set -eu
cd "$(dirname "$0")/.."
stage=$1/stage
rm -rf "$stage"
cmake --install "$1" --prefix "$PWD/$stage" > /dev/null
cmake --install "$1" --prefix "$PWD/$stage" --component store > /dev/null
library=$(dirname "$(find "$stage" -name libtarrow_modules.so)")
export PKG_CONFIG_PATH=$library/pkgconfig
strict="-Wall -Wextra -Wpedantic -Werror"
(cd "$stage/include/tarrow" && find . -name '*.h' | sort | sed 's|./\(.*\)|#include <\1>|') > "$stage/headers.c"
gcc -std=c99 $strict -fsyntax-only "$stage/headers.c" $(pkg-config --cflags tarrow_modules)
g++ -std=c++20 $strict -fsyntax-only -x c++ "$stage/headers.c" $(pkg-config --cflags tarrow_modules)
gcc -std=c99 $strict examples/daemon.c -o "$stage/daemon" $(pkg-config --cflags --libs tarrow_modules mxml) -lcfgdb
item='<mac>m</mac><ip>10.0.0.9</ip><name>new</name>'
answer=$(device/boot --build "$1" env LD_LIBRARY_PATH="$library" sh -ec '
    echo "<lan><ip>10.0.0.1</ip><fixed_leases><Item>$2</Item></fixed_leases></lan>" | "$1" set lan > /dev/null
    echo "<lan><ip/><fixed_leases/></lan>" | "$1" get lan
    ls -A /tmp' - "$stage/daemon" "$item")
grep -q "<ip>10.0.0.1</ip>.*<Item index=\"3\">$item" <<< "$answer" || { echo "the daemon says: $answer"; exit 1; }
! grep -q '^tarrow\.' <<< "$answer" || { echo "the daemon leaves files: $answer"; exit 1; }

mkdir "$stage/consumer"
cat > "$stage/consumer/CMakeLists.txt" << E_O_T
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(tarrow_modules 1.0 REQUIRED)
foreach(library modules modules_static)
  add_executable(with_\${library} "$PWD/examples/daemon.c")
  target_link_libraries(with_\${library} tarrow::\${library})
endforeach()
E_O_T
cmake -G Ninja -S "$stage/consumer" -B "$stage/consumer" -DCMAKE_PREFIX_PATH="$PWD/$stage" > /dev/null
cmake --build "$stage/consumer" > /dev/null
gcc examples/daemon.c -o "$stage/daemon" $(pkg-config --static --cflags --libs tarrow_modules |
    sed s/-ltarrow_modules/-l:libtarrow_modules.a/)
! readelf -d "$stage/daemon" | grep libtarrow_modules || { echo "the archive is not used"; exit 1; }
