# What a session can say of the device. Each bash that cram starts reads this first, and then runs the session with
# nothing to read.
mass_storage=/sys/devices/platform/usb_mass_storage/lun1/file

stand_ins() { # where they are mounted
    awk '$4 ~ "/run/when/" { print $5 }' /proc/self/mountinfo
}

fresh() { # an empty device: no stand-ins, servers, state files or settings
    local path
    for path in $(stand_ins); do umount "$path"; done
    end_server
    find /tmp /data /mnt/external_sdcard /userfs /run/instead /run/when -mindepth 1 -delete
    mkdir -p /data/panelui /userfs/cfgdb
    : > $mass_storage
    unset CLOCK MEANWHILE POPEN_FAILS TZ
}

setting() { # MODULE KEY VALUE
    cfgdb_cmd set "$@"
}

file() { # PATH [TEXT]: a file, or what the library reads in the place of the kernel's or the system's; \n is a line end
    local path=$1
    case $path in /tmp/* | /data/* | /mnt/* | /userfs/*) ;; *) path=/run/instead$1 ;; esac
    mkdir -p "${path%/*}"
    printf %b "$2" > "$path"
}

repeat() { # COUNT TEXT
    printf "%.0s$2" $(seq "$1")
}

when() { # PROGRAM [LINE]: what a program of the device does; nothing without a line
    local stand_in=/run/when/${1##*/} target
    printf '#!/bin/sh\n%s\n' "$2" > "$stand_in"
    chmod +x "$stand_in"
    if [ -L "$1" ]; then # a mount over a link would cover its target
        target=$(readlink -f "$1")
        rm "$1"
        : > "$1"
        mount --bind "$target" "$1"
    fi
    stand_ins | grep -qx "$1" || mount --bind "$stand_in" "$1"
}

clock() { # SECONDS: the time of day
    export CLOCK=$1
}

meanwhile() { # NUMBER LINE: what happens during the wait of that number
    export MEANWHILE="[ \$WAIT != $1 ] || $2"
}

server() { # ANSWER...: a statistics server, which answers each request with numbers and prints what it was asked
    mkfifo /tmp/stat_server_fifo
    exec 5<> /tmp/stat_server_fifo
    for answer; do
        read -r operation process size < <(head -c 12 <&5 | od -An -td4)
        interface=$(head -c 16 <&5 | tr -d '\0')
        echo "asked: operation $operation, $interface" $(head -c $((size - 16)) <&5 | od -An -v -td4)
        bytes=
        for number in $answer; do
            number=$(printf %08x $((number & 0xffffffff)))
            bytes+="\\x${number:6:2}\\x${number:4:2}\\x${number:2:2}\\x${number:0:2}"
        done
        printf "$bytes" > "/tmp/stat_client_${process}_fifo" # in one piece
    done &
    server=$!
}

end_server() {
    { kill "$server" && wait "$server"; } 2> /dev/null || true
}

state() { # every file that a request may change, with its text, and every setting
    find /tmp /data /mnt/external_sdcard /userfs $mass_storage -not -path '/userfs/cfgdb*' -not -type p | sort |
        while IFS= read -r path; do
            text=
            if [ -L "$path" ]; then
                text=" -> $(readlink "$path")"
            elif [ -d "$path" ]; then
                text=/
            elif [ -s "$path" ]; then
                IFS= read -r -d '' text < "$path"
                text=" ${text@Q}"
            fi
            printf '%s\n' "$path$text"
        done
    cfgdb_cmd list 2> /dev/null # there may be no store
}

page() { # the program of that name
    ${EMULATOR-} "$BUILD/page" "$@"
}

request() { # the page, and what has changed
    local status=0
    state > /run/before
    page "$@" || status=$?
    state | diff --old-line-format='was %L' --new-line-format='now %L' --unchanged-line-format= /run/before - || true
    return $status
}
get() { request get "$@"; }
post() { request set "$@"; }
getlist() { request getlist "$@"; }
call() { request call "$@"; }

unset BASH_ENV
ln -s "$PROJECT/tests/support/run" run # for the examples
script=$(cat)
exec < /dev/null
eval "$script"
end_server
: > /run/ended
