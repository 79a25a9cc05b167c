#!/usr/bin/env bash
# A C program against the installed headers and library, found by pkg-config: consumer_test.sh BUILD-FOLDER
set -eu
cd "$(dirname "$0")/.."
stage=$PWD/$1/stage
rm -rf "$stage"
cmake --install "$1" --prefix "$stage" > /dev/null
sources="$stage/consumer.c"
{
    (cd "$stage/include/tarrow" && find . -name '*.h' | sort | sed 's|\./\(.*\)|#include <\1>|')
    cat tests/consumer.c
} > "$sources"
library=$(dirname "$(find "$stage" -name libtarrow_modules.so)")
export PKG_CONFIG_PATH=$library/pkgconfig
flags="$(pkg-config --cflags tarrow_modules) -Wall -Wextra -Wpedantic -Werror"
libs="$(pkg-config --libs tarrow_modules) -Wl,-rpath-link,$PWD/$1"
gcc -std=c99 $flags "$sources" -o "$stage/consumer" $libs
g++ -std=c++20 -x c++ $flags -fsyntax-only "$sources"
answer=$(device/boot --build "$1" env LD_LIBRARY_PATH="$library:$PWD/$1" "$stage/consumer")
[ "$answer" = "32 lan http_share 0 ccinet" ] || { echo "the consumer says: $answer"; exit 1; }
