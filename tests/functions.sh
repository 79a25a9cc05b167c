# What a session can say of the device. Each bash that cram starts reads this first, and then runs the session with
# nothing to read.
mass_storage=/sys/devices/platform/usb_mass_storage/lun1/file

stand_ins() { awk '$4 ~ "/run/when/" { print $5 }' /proc/self/mountinfo; } # where they are mounted
end_server() { { kill "$server" && wait "$server"; } 2> /dev/null; }

fresh() { # an empty device: no stand-ins, servers, state files or settings
    stand_ins | xargs -r umount
    end_server
    find /tmp /data /mnt/external_sdcard /userfs /run/instead /run/when -mindepth 1 -delete
    mkdir -p /data/panelui /userfs/cfgdb
    : > $mass_storage
    unset MEANWHILE POPEN_FAILS TZ
    export CLOCK=1795628000
}

setting() { cfgdb_cmd set "$@"; } # MODULE KEY VALUE

file() { # PATH [TEXT]: a file, or what the library reads in the place of the kernel's or the system's; \n is a line end
    local path=$1
    case $path in /tmp/* | /data/* | /mnt/* | /userfs/*) ;; *) path=/run/instead$1 ;; esac
    mkdir -p "${path%/*}"
    printf %b "$2" > "$path"
}

repeat() { printf "%.0s$2" $(seq "$1"); } # COUNT TEXT

when() { # PROGRAM [LINE]: what a program of the device does; nothing without a line
    local stand_in=/run/when/${1##*/}
    printf '#!/bin/sh\n%s\n' "$2" > "$stand_in"
    chmod +x "$stand_in"
    [ ! -L "$1" ] || cp --remove-destination "$(readlink -f "$1")" "$1" # or the mount would cover what the link names
    stand_ins | grep -qx "$1" || mount --bind "$stand_in" "$1"
}

meanwhile() { export MEANWHILE="[ \$WAIT != $1 ] || $2"; } # NUMBER LINE: what happens during the wait of that number

server() { # ANSWER...: a statistics server, which answers each request with numbers and prints what it was asked
    mkfifo /tmp/stat_server_fifo
    exec 5<> /tmp/stat_server_fifo
    for answer; do
        read -r operation process size < <(head -c 12 <&5 | od -An -td4)
        interface=$(head -c 16 <&5 | tr -d '\0')
        echo "asked: operation $operation, $interface" $(head -c $((size - 16)) <&5 | od -An -v -td4)
        perl -e 'print pack "l<*", @ARGV' -- $answer > "/tmp/stat_client_${process}_fifo"
    done &
    server=$!
}

state() { # every file that a request may change, with its text, and every setting
    find /tmp /data /mnt/external_sdcard /userfs $mass_storage -not -path '/userfs/cfgdb*' \
        \( -type d -printf '%p/\n' -o -type l -printf '%p -> %l\n' -o -type f -print \) | sort |
        while IFS= read -r path; do
            text=
            [ ! -f "$path" ] || { IFS= read -r -d '' text < "$path" && text+=?; text=" ${text@Q}"; } # ? for a zero byte, which ends it
            echo "$path$text"
        done
    cfgdb_cmd list 2> /dev/null # there may be no store
}

request() { # what the page program prints, a long page in several lines, and what has changed
    state > /run/before
    { $EMULATOR "$BUILD/page" "$@" 2>&1 || echo "ends with status $?"; } |
        sed -E '/^<[a-z]/ { :a; s,((^|\n)[^\n]{90}[^<\n]*(</[^<\n]*)*)(<[^/]),\1\n\4,; ta }'
    state | diff --old-line-format='was %L' --new-line-format='now %L' --unchanged-line-format= /run/before - || true
}
get() { request pre-get,post-get "$@"; }
post() { request pre-set,post-set "$@"; }
getlist() { request post-get "$@"; }
call() { request "$1" - "$2"; }

./run() { if [ "$1" = sim ]; then "${@:2}"; else tarrow_host "$@"; fi; } # in the examples

unset BASH_ENV
script=$(cat)
exec < /dev/null
eval "$script"
end_server
: > /run/ended
