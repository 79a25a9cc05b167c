#!/usr/bin/env bash
# What a traced request shows: in JSON to programs, below the answer to people.
cd "$(dirname "$0")/.."
failed=0
expect() { # expect NAME WANTED GOT
    [ "$2" = "$3" ] || { diff <(echo "$2") <(echo "$3") | sed "1s/^/$1: /"; failed=1; }
}
script() { # script LINES: the shell lines that make these the post-set script of lan
    local file=/etc/init.d/lan_post_set.sh
    echo "rm -f $file; printf '%b' '#!/bin/sh\n$1\n' > $file; chmod +x $file"
}
trace() { # trace STATE WORD...: tarrow_trace with these words in a device that was brought into a state
    device/boot sh -c "echo 0 > /tmp/check_sim.txt; $1
        tarrow_trace \"\$@\"; echo \"status \$?\"" - "${@:2}" 2>&1 < /dev/null
}
steps() { # steps STATE KINDS WORD...: the steps of some kinds, with their exit status
    trace "$1" --json "${@:3}" | sed 's/rrow\......./rrow.X/' |
        jq -rR --arg kinds "$2" 'fromjson? // empty | select(.kind | test($kinds)) |
            "\(.kind) \(.exit // .status // ""): \(.text | gsub("\n *"; ""))"'
}

expect "a read: commands with their ends, files, the log" "\
command : /usr/app/get_wan_interface.sh
ended 0: /usr/app/get_wan_interface.sh
command : /etc/init.d/get_wan_connection_status.sh ccinet0 1
ended 0: /etc/init.d/get_wan_connection_status.sh ccinet0 1
log : err tarrow:wan: interface_info_get: Resolv.conf isn't exists" \
    "$(steps 'rm /etc/resolv.conf' 'command|ended|log' get wan '<wan><wan_conn_status/><dns1/></wan>' |
        grep -v ifconfig)"
expect "a file is read, an interface asked" $'socket : SIOCGIFADDR ccinet0 10.64.1.2\nread : /proc/net/route' \
    "$(steps : 'read|socket' get wan '<wan><ip4/><gateway/></wan>' | grep -e FADDR -e route)"
expect "a script that is killed" $'error : a\nended 137: /etc/init.d/lan_post_set.sh set /tmp/tarrow.X' \
    "$(steps "$(script 'echo a; kill -KILL $$')" 'error|ended' set lan ip=1 | grep -v -e Killed -e pre_set)"
expect "bytes that are no text" 'answer 0: <lan><ip>�</ip></lan>' "$(steps : answer set lan ip=$'\xff')"
checking=': > /tmp/sim_checking_mutex; (sleep 0.1; rm /tmp/sim_checking_mutex) &'
expect "a wait of the library" "wait : " "$(steps "$checking" wait set pin_puk \
    '<pin_puk><command>4</command><puk>12345678</puk><new_pin>1234</new_pin></pin_puk>' | uniq)"
expect "the answer and a step for people" $'/etc/init.d/sms_pre_get.sh capacity sim  (T ms, exit status 0)\n| 50' \
    "$(trace : get sms capacity.sim | sed -n '/^|/p; s/.* command  \(.*\)(.* ms/\1(T ms/p')"
ssid='x\n      0.0  command  reboot\033[2J\302\233'
expect "a text of the answer that looks like a step" $'| x\n|       0.0  command  reboot\\x1b[2J\\xc2\\x9b' \
    "$(trace "cfgdb_cmd set wlan_settings ssid \"\$(printf '$ssid')\"" get wlan_settings ssid | grep '^|')"
expect "a script that speaks for the host program" 'answer 0: ' \
    "$(trace "$(script 'echo "tarrow_host: all is well"')" --json set lan ip=1 | grep '"answer"' |
        jq -r '"\(.kind) \(.status): \(.errors)"')"
job='(sleep 0.3; echo later; echo $? > /tmp/job) &'
expect "a job that goes on in the background may write" 0 "$(trace "$(script "$job")
    tarrow_trace set lan ip=1; sleep 0.6; cat /tmp/job; exit" | tail -1)"
expect "200,000 lines for people" "1000 ... 199000 more lines" \
    "$(trace "$(script 'seq 200000')" set lan ip=1 | sed -n 's/^ .*  error    //p' | tail -2 | xargs)"
unchanged='status 1 and 192.168.1.1'
attempt='tarrow_trace set lan ip=1 2> /tmp/errors; echo "status $? and $(cfgdb_cmd get lan ip)"
    grep -o "attach: ptrace.*" /tmp/errors'
expect "where the kernel forbids a trace, nothing is written" "$unchanged"$'\nattach: ptrace(PTRACE_ATTACH, N): Operation not permitted' \
    "$(strace -f --inject=ptrace:error=EPERM -o /dev/null device/boot sh -c "$attempt" | sed 's/, [0-9]*)/, N)/')"
exit $failed
