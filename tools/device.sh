# Sourced by run: the device that stays up, one for each checkout and user. Its record, build/device/UID, is a line with
# the device's first process, the start time of that process, the process that waits for it, and the place. The start time
# and the place detect a reused process number, a copy of the checkout and another machine.
record=build/device/$UID

# this_place prints the folder's inode, the process namespace and the machine's boot.
this_place() {
    local folder boot
    folder=$(stat -L -c %d:%i . /proc/self/ns/pid) && read -r boot < /proc/sys/kernel/random/boot_id
    echo "$folder $boot" | tr '\n' ' '
}

# start_of PROCESS prints the start time of a process; nothing when it has ended.
start_of() {
    local stat
    { read -r stat < "/proc/$1/stat"; } 2> /dev/null || return 0
    read -ra stat <<< "${stat##*) }" # from the third field on
    [ "${stat[0]}" = Z ] || echo "${stat[19]}"
}

# is_up tests whether the device is up, and sets device_process to its first process.
is_up() {
    local started place
    [ -e "$record" ] && read -r device_process started device_waiter place < "$record" &&
        [ "$(start_of "$device_process")" = "$started" ] && [ "$place " = "$(this_place)" ]
}

# in_device COMMAND... runs a command in the device that stays up, or boots one for it.
in_device() {
    local boot=(device/boot)
    if is_up; then boot+=(--enter "$device_process"); fi
    if [ -t 0 ]; then exec "${boot[@]}" "$@"; fi # the command gets the terminal and its signals
    together "${boot[@]}" "$@"
}

# serve_device PORT: the device in a browser. The server runs on this machine, and enters the device for each call.
serve_device() { together serve_in_group "$1"; }
serve_in_group() {
    local booting= status=0
    if ! is_up; then # a device for as long as the server runs
        exec 7< <(exec device/boot --stay < /dev/null)
        booting=$!
        read -r device_process _ <&7 || fail "the device did not come up"
    fi
    say "the device in a browser, until Ctrl-C:"
    "$PWD/build/release/tarrow_web" "$1" "$PWD" "$device_process" 7<&- || status=$?
    [ -z "$booting" ] || kill "$booting" 2> /dev/null || true
    return $status
}

up() {
    mkdir -p build/device
    exec 8> "$record.lock"
    flock 8
    if is_up; then
        say "the device is already up; ./run down ends it"
        return
    fi
    local started booting=
    trap 'kill $booting 2> /dev/null' EXIT
    exec 7< <(exec setsid device/boot --stay < /dev/null 2> "$record.log" 8>&-)
    booting=$!
    if ! read -r device_process started <&7; then
        cat "$record.log" >&2
        fail "the device did not boot"
    fi
    echo "$device_process $started $booting $(this_place)" > "$record"
    trap - EXIT
    exec 7<&- 8>&-
    say "the device is up: get, set, list, shell and sim use it until ./run down"
}

down() {
    if ! is_up; then
        say "no device of this folder is up"
        return
    fi
    kill -KILL "$device_process"
    local tries=200
    while ((tries-- > 0)) && [ -n "$(start_of "$device_process")$(start_of "$device_waiter")" ]; do sleep 0.05; done
    rm -f "$record" "$record.log"
    say "the device is down"
}

# device_status returns 0 when a device is up, else 1.
device_status() {
    if ! is_up; then
        echo "down: each ./run boots its own device; ./run up boots one that stays up"
        return 1
    fi
    echo "up since $(stat -c %y "$record" | cut -d. -f1), process $device_process; ./run down ends it"
    if [ -n "$(find device/boot device/image device/networks device/hooks.txt -newer "$record" -print -quit)" ]; then
        echo "device/ has changed since then; ./run down and ./run up start a device with the changes"
    fi
}
