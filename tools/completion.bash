# Bash completion of ./run, ./check and tests/run, for any checkout: commands, modules and their elements,
# presets, files.
# Put into ~/.bashrc: . /path/to/this/folder/tools/completion.bash

# The elements of a module's page, as a.b for an element in another; with "all" also those that pages only post.
_tarrow_elements() { # PAGE [all]
    sed 's/</\n</g' "$1" 2> /dev/null | awk -v all="${2-}" '
        function path(  i, text) {
            for (i = 2; i <= depth; ++i) text = text (i > 2 ? "." : "") name[i]
            return text
        }
        /^<\// { --depth }
        /^<[a-zA-Z]/ {
            element = $0
            sub(/^</, "", element)
            sub(/[ \/>].*/, "", element)
            name[++depth] = element
            posted[depth] = posted[depth - 1] || /get="no"/
            if (depth > 1 && (all || !posted[depth])) print path()
            if (/\/>/) --depth
        }'
}

_tarrow() {
    local word=$2 top words file traced=
    while [ "$COMP_CWORD" -gt 1 ]; do # completes a traced request like any other
        case ${COMP_WORDS[1]} in trace) traced="get set --json" ;; --json) traced="get set" ;; *) break ;; esac
        COMP_WORDS=("${COMP_WORDS[@]:1}") COMP_CWORD=$((COMP_CWORD - 1))
    done
    top=$(dirname "$(readlink -f "$1" 2> /dev/null)")
    COMPREPLY=()
    if [ "${top##*/}" = tests ]; then
        words="--update $(cd "$top/.." && ls -d build/*/page 2> /dev/null | sed 's,/page$,,')"
        [ "$COMP_CWORD" = 1 ] || words=$(ls "$top/pages" | sed -n 's/\.t$//p')
        top=${top%/*}
    elif [ "${1##*/}" = check ]; then
        words=--help
    elif [ -n "$traced" ] && [ "$COMP_CWORD" = 1 ]; then
        words=$traced
    elif [ "$COMP_CWORD" = 1 ]; then
        words=$(sed -n 's/^#   \([a-z].*[^ ]\)   *.*/\1/p' "$top/run" | sed 's/[A-Z[].*//' | tr -d , | sort -u)" --help"
    else
        case ${COMP_WORDS[1]}:$COMP_CWORD in
        [gs]et:2 | request:2) words=$(sed -n 's/.*di_modname = "\([a-z_]*\)".*/\1/p' "$top/src/mod_applets.cpp") ;;
        [gs]et:*)
            file=$top/device/image/etc/tarrow/pages/${COMP_WORDS[2]}.xml
            compopt -o default # a request's file
            if [ "$word" = = ] || [ "$3" = = ]; then
                : # nothing to propose for a value
            elif [ "${COMP_WORDS[1]}" = set ]; then
                words=$(_tarrow_elements "$file" all | sed 's/$/=/')
                compopt -o nospace
            elif [ "$COMP_CWORD" = 3 ]; then
                words=$(_tarrow_elements "$file")
            fi
            ;;
        sim:2) words=$(grep -ls '^# usage:' "$top"/device/image/sim/* | sed 's,.*/,,') ;;
        sim:3)
            words=$(sed -n '/^# usage:/ { s///; s/[|]/\n/g; p; q }' "$top/device/image/sim/${COMP_WORDS[2]}" 2> /dev/null |
                tr ' ' '\n' | grep '^[a-z0-9]*$' | grep -vx "${COMP_WORDS[2]}")" --help"
            ;;
        sim:4) if [ "${COMP_WORDS[2]}" = cable ]; then words="pull plug"; fi ;;
        list:2) words=--json ;;
        web:2) words="8080 0" ;;
        syscalls:2) words=--calls ;;
        bench:2) words=--benchmark_filter= ;;
        shell:*) compopt -o default ;;
        esac
    fi
    [ -f "$top/device/boot" ] || return
    COMPREPLY=($(compgen -W "${words-}" -- "$word"))
}
complete -F _tarrow run check
