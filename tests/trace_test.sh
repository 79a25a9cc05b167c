#!/usr/bin/env bash
# What a traced request shows that it did: to programs in JSON, to people below the answer.
cd "$(dirname "$0")/.."
trace() { # trace STATE SHOWN WORD...: the lines of which something is shown, with their exit status
    device/boot sh -c "echo 0 > /tmp/check_sim.txt; $1
        shift 2; exec tarrow_trace --json \"\$@\"" - "$@" |
        jq -r "\"\(.kind) \(.exit // .status // \"\"): \(.text | gsub(\"\\n *\"; \"\"))\" | select(test(\"$2\"))" | uniq
}
{
    trace 'rm /etc/resolv.conf' 'ended|ifc$|log|FADDR' get wan '<wan><ip4/><dns1/></wan>'
    trace 'echo "echo a; kill -KILL \$PPID" > /etc/init.d/wan_post_set.sh' 'error|ans|137|userfs' set wan $'proto=\xff'
    trace ': > /tmp/sim_checking_mutex; (sleep 0.1; rm /tmp/sim_checking_mutex) &' wait \
        set pin_puk '<pin_puk><command>4</command><puk>12345678</puk><new_pin>1234</new_pin></pin_puk>'
    ./run trace get sms capacity.sim | sed -n '1s/^[0-9]*$/the answer/p; s/.* command  \(.*\)(.* ms/\1(T ms/p'
} 2>&1 | sed '/^run: /d; s/ *$//; s/rrow\......./rrow.X/' | diff - <(echo "\
ended 0: /usr/app/get_wan_interface.sh
read : /tmp/wan_ifc
ended 0: /etc/init.d/get_wan_connection_status.sh ccinet0 1
ended 0: /system/sbin/ifconfig ccinet0 | /xbin/grep 'inet6.*Global' | /xbin/awk '{print \$3}'
socket : SIOCGIFADDR ccinet0 10.64.1.2
log : err tarrow:wan: interface_info_get: Resolv.conf isn't exists
error : a
ended 137: /etc/init.d/wan_post_set.sh set /tmp/tarrow.X
answer 0: <wan><proto>�</proto></wan>
wait :
the answer
/etc/init.d/sms_pre_get.sh capacity sim  (T ms, exit status 0)")
