# Sourced by setup.sh: runs commands that end together, and reports progress.

say() { echo "$me: $*" >&2; }
me=${TARROW_NAME:-${0##*/}} # the command that the user typed
fail() { say "$@"; exit 1; }

# together COMMAND... runs a command or a function in its own process group, to which all its child processes belong. When
# this shell gets INT, QUIT, TERM or HUP, the group ends at once, and this shell ends with the same signal. When this shell
# is killed, the group ends too: it reads the end of a pipe that only this shell writes to.
together() {
    if [ -n "${TARROW_GROUP-}" ]; then
        "$@"
        return
    fi
    local group= signal status lifeline
    exec {lifeline}<> <(:)
    for signal in INT QUIT TERM HUP; do trap "end_group \"\$group\" $signal" $signal; done
    trap 'kill -STOP -- "-$group"; kill -STOP $$; kill -CONT -- "-$group"' TSTP
    set -m
    lead_group "$@" <&0 &
    group=$!
    set +m
    while status=0; wait "$group" 2> /dev/null || status=$?; [ $status -gt 128 ] && kill -0 "$group" 2> /dev/null; do :; done
    trap - INT QUIT TERM HUP TSTP
    echo over >&$lifeline
    exec {lifeline}>&-
    return $status
}
lead_group() {
    local watched
    exec {watched}< /dev/fd/$lifeline {lifeline}>&-
    watch_group < /dev/null &> /dev/null &
    exec {watched}<&-
    TARROW_GROUP=1 "$@"
}

watch_group() {
    trap '' HUP # the kernel sends it to a stopped group
    if read -r -u $watched; then return; fi
    trap '' TERM
    kill -TERM 0 # ninja's compilers have their own groups
    sleep 1
    kill -KILL 0
}

# end_group GROUP SIGNAL ends a group. Its programs have two seconds to clean up and to end their own groups.
end_group() {
    trap '' INT QUIT TERM HUP
    local tries=40
    kill -TERM -- "-$1" 2> /dev/null || true
    while ((tries-- > 0)) && kill -0 -- "-$1" 2> /dev/null; do sleep 0.05; done
    kill -KILL -- "-$1" 2> /dev/null || true
    progress_end
    ulimit -c 0
    trap - "$2"
    kill -"$2" $$
}

# progress TEXT replaces the last line of a terminal. Without a terminal it prints a line every ten seconds.
progress_next=10
progress() {
    if [ -t 2 ]; then
        printf '\r\033[K\033[?7l%s\033[?7h' "$me: $*" >&2 # without wrapping
    elif ((SECONDS >= progress_next)); then
        say "$@"
        progress_next=$((SECONDS + 10))
    fi
}
progress_end() { [ ! -t 2 ] || printf '\r\033[K' >&2; }

# follow TEXT reads the output of a command and shows its progress: the time, and the number of steps in lines such as
# "3 of 40".
follow() {
    local line text=$1 start=$SECONDS status
    progress_next=$((SECONDS + 10))
    while status=0; read -r -t 1 line || status=$?; [ $status = 0 ] || [ $status -gt 128 ]; do
        if [[ $line =~ ^[0-9]+\ of\ [0-9]+ ]]; then text="$1: ${BASH_REMATCH[0]}"; fi
        progress "$text ($((SECONDS - start)) s)"
    done
    progress_end
}
