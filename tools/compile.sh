#!/usr/bin/env bash
# Runs a compiler where the project's folder has a quote in its name. Ninja cannot read a quote in the list of headers that
# the compiler writes, so this makes the paths in the list relative to the build's folder.
"$@" || exit
folder=$(cd "${0%/*}/.." && pwd)
while [ $# -gt 0 ] && [ "$1" != -MF ]; do shift; done
if [ -s "${2-}" ]; then
    list=$(< "$2")
    printf '%s\n' "${list//"${folder// /\\ }"/../..}" > "$2"
fi
