# Sourced by setup.sh: work that ends as a whole, and lines that say how far it has come.

say() { echo "$me: $*" >&2; }
me=${TARROW_NAME:-${0##*/}} # the command that the user has typed
fail() { say "$@"; exit 1; }

# together COMMAND... runs a command, or a function, in a process group of its own. When this shell is interrupted,
# told to end or loses its terminal, the group ends at once, and this shell by the same signal. When this shell is
# killed, the group ends too: it reads the end of a pipe that only this shell writes to. What the group starts belongs to
# the group.
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
    trap '' HUP # of a group that was stopped
    if read -r -u $watched; then return; fi
    trap '' TERM
    kill -TERM 0 # for ninja, whose compilers have groups of their own
    sleep 1
    kill -KILL 0
}

# end_group GROUP SIGNAL: programs that tidy up, or have groups of their own to end, get two seconds for it.
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

# progress TEXT replaces a terminal's last line; where there is no terminal, it prints a line each ten seconds.
progress_next=10
progress() {
    if [ -t 2 ]; then
        printf '\r\033[K\033[?7l%s\033[?7h' "$me: $*" >&2 # never more than a line
    elif ((SECONDS >= progress_next)); then
        say "$@"
        progress_next=$((SECONDS + 10))
    fi
}
progress_end() { [ ! -t 2 ] || printf '\r\033[K' >&2; }

# follow TEXT shows that a command goes on, whose output it reads: how many of its steps it has begun, when a line
# tells that, and how long it has taken.
follow() {
    local line text=$1 start=$SECONDS status
    progress_next=$((SECONDS + 10))
    while status=0; read -r -t 1 line || status=$?; [ $status = 0 ] || [ $status -gt 128 ]; do
        if [[ $line =~ ^[0-9]+\ of\ [0-9]+ ]]; then text="$1: ${BASH_REMATCH[0]}"; fi
        progress "$text ($((SECONDS - start)) s)"
    done
    progress_end
}
