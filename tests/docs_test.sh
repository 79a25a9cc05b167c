#!/usr/bin/env bash
# Each module's documentation names all that the module has to do with: the elements and fields of its page, and the
# files, programs and scripts in its code. That the examples hold is tested by playing them.
set -euf
cd "$(dirname "$0")/.."
failed=0
for module in $(ls src/modules docs/pages | sed -nE 's/^([a-z_]+)(\.md)?$/\1/p' | sort -u); do
    text=$(awk '/^```/ { skip = !skip } !skip' "docs/pages/$module.md")
    elements=$(grep -oE '<[A-Za-z0-9_]+|fields="[^"]*' "device/image/etc/tarrow/pages/$module.xml")
    paths=$(find "src/modules/$module" -name '*.cpp' -exec grep -ohE '"/[a-z][^" %]*' {} +) || true
    for name in $(sed -E 's/^fields=//' <<< "$elements $paths" | tr '<"#\\\\' ' '); do
        grep -qF -- "$name" <<< "$text" || { echo "docs/pages/$module.md lacks $name"; failed=1; }
    done
done
exit $failed
