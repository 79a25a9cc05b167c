#!/usr/bin/env bash
# Holds docs/pages and the code together: what a module names stands on its page, and what the page quotes stands
# in the module. That their index is the applet table is a case of dispatch_test.cpp.
set -uf
cd "$(dirname "$0")/.." || exit
failed=0
fail() { echo "$*"; failed=1; }

# The string literals of source files, outside comments.
literals() {
    awk '/^#/ { next }
         { gsub(/\\"/, "\001"); n = split($0, part, "\"")
           for (i = 1; i <= n; i++)
               if (i % 2 == 0) { gsub(/\001/, "\"", part[i]); print part[i] } else if (part[i] ~ /\/\//) break }' "$@"
}
# The code of a page: its code spans, a line each, and the lines of its code blocks, which may end in a note; examples are run by themselves.
quoted() { awk '/^```/ { skip = !skip; next } skip { next } /^    / { print; next } { n = split($0, part, "`"); for (i = 2; i <= n; i += 2) print part[i] }' "$1"; }
words() { sed -E 's,</|/>, ,g' | grep -oE '[%/A-Za-z0-9_.-]+' | grep '[A-Za-z]' | grep -vx '%[sd]' | sort -u; }
# The handlers and scripts of a module, as the index of the pages names them.
row() {
    awk -F' *[|] *' -v module="$1" '{ name = $3; gsub(/\[|\].*/, "", name) }
        name == module { split("pre_set post_set pre_get post_get", phase, " ")
            for (i = 1; i <= 4; i++) { cell = $(3 + i)
                if (cell ~ /script/) print "/etc/init.d/" module "_" phase[i] ".sh"
                gsub(/`|, no script/, "", cell); if (cell ~ /[_\/]/) print cell } }' docs/pages/README.md
}

for module in $(ls src/modules docs/pages | sed -nE 's/^([a-z_]+)(\.md)?$/\1/p' | sort -u); do
    page=docs/pages/$module.md xml=device/image/etc/tarrow/pages/$module.xml
    sources=$(find "src/modules/$module" -type f) && code=$(quoted "$page") || { failed=1; continue; }
    texts=$(literals $sources)
    spans=$(grep -v '^    ' <<< "$code" | words)
    claims=$({ echo "$spans"; grep '^    ' <<< "$code" | grep -oE '[^ ]*[/_][^ ]*'; } | words)
    needed=$({ grep -oE '<[A-Za-z0-9_]+' "$xml" | grep -vx "<$module"; grep -oE 'fields="[^"]*' "$xml" | sed 's/.*"//'
        row "$module" | grep -oE '[^ ]*[/_][^ ]*'; grep -xE '[A-Za-z][A-Za-z0-9_.]{2,31}' <<< "$texts"; } | words)
    known=$({ echo "$texts"; literals $(find src -maxdepth 1 -name '*.[ch]*' ! -name mod_applets.cpp); cat "$xml"
        row "$module"; grep -ohE '[a-z0-9_]+\(' $sources; } | words)
    missing=$(comm -23 <(echo "$needed") <(echo "$spans"))
    invented=$(comm -13 <(echo "$known") <(echo "$claims"))
    [ -z "$missing" ] || fail "$page lacks" $missing
    [ -z "$invented" ] || fail "$page quotes what $module does not have:" $invented
    while read -r text; do # what has a path, word for word
        grep -qF -- "$text" <<< "$code" || fail "$page lacks: $text"
    done < <(grep '/[a-z.]' <<< "$texts")
done
exit $failed
