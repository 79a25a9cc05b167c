#!/usr/bin/env bash
# The simulated device seen from this machine: what it answers, what it cannot touch, what it leaves.
set -u
cd "$(dirname "$0")/.."
failed=0
expect() { # expect NAME WANTED GOT
    [ "$2" = "$3" ] || { echo "$1: wanted '$2', got '$3'"; failed=1; }
}
boot() { device/boot "$@" 2>&1; }
await() { for _ in {1..600}; do "$@" > /dev/null && break; sleep 0.1; done; } # await COMMAND...: until it succeeds
are_gone() { ! pgrep -f "$1"; }
device_files=$(boot ls /tmp)
machine() { # of /tmp, where others work too, what has the name of a file of the device
    ip -br link; ls -a / /run /mnt /etc; ls /tmp | grep -xF "$device_files"; cat /proc/mounts; hostname
}

before=$(machine)
expect "input, arguments and exit status" "hello a b|* 7" \
    "$(echo hello | boot sh -c 'echo $(cat) "$1|$2"; exit 7' - 'a b' '*' | tr '\n' ' '; echo "${PIPESTATUS[1]}")"
expect "a missing command, and usage" "127 2" "$(boot /no/such > /dev/null; echo $? $(boot --x > /dev/null; echo $?))"
expect "no write to the project, the programs or the kernel, and no way around that" "" \
    "$(boot sh -c 'for f in /project/x /project/build/x /usr/x /proc/sys/kernel/x /sys/x; do
        (: > $f) 2> /dev/null && echo $f; done; echo y 2> /dev/null > /proc/sys/kernel/hostname && echo sysctl
    mount -o remount,bind,rw /project && echo remount; umount /project && umount /project && echo umount
    echo >> /proc/1/fd/255 && echo script; chmod 666 /dev/full && echo node; mknod /dev/disk b 8 0 && echo mknod
    for f in /home /opt /srv /boot; do [ ! -e $f ] || echo $f; done
    : > /tmp/left' 2> /dev/null | grep -E '^[a-z/]+$'; boot ls /tmp | grep left)"
boot sh -c 'ip link del br0; hostname other; rm -rf /tmp /etc /data; mkdir /etc; sleep 4711 & disown; kill -9 -1' > /dev/null
expect "this machine is as it was, without a process more" "$before" "$(machine; pgrep -f 'sleep 4711')"
copy=$(mktemp -d "/tmp/it's a clone XXXXXX")
cp -r device docs src tests tools "$copy" && mkdir -p "$copy/build/release"
cp build/release/{cfgdb_cmd,tarrow_host,tarrow_tests,page,stat_server,*.so} "$copy/build/release"
chmod -R a+rX "$copy"
expect "the tests in a folder whose name has a quote and blanks" 0 "$("$copy/tests/run" build/release wan &> "$copy/log"; echo $?)"
if [ "$(id -u)" = 0 ]; then
    expect "an ordinary user's device" "<lan /> 0" \
        "$(cd "$copy" && echo '<lan/>' | setpriv --reuid 1234 --regid 1234 --clear-groups \
            device/boot tarrow_host get lan - 2>&1 | tr '\n' ' '; echo "${PIPESTATUS[1]}")"
    chmod 600 "$copy/tools/setup.sh"
    expect "root's device in a folder that nobody can read" 125 "$("$copy/device/boot" true 2> /dev/null; echo $?)"
fi
mkfifo "$copy/request"
env -u TARROW_GROUP ./run get wan - <> "$copy/request" 2> /dev/null &
await pgrep -xf 'tarrow_host get wan -'
expect "a request that waits" 1 "$(pgrep -cxf 'tarrow_host get wan -')"
kill -KILL $!
wait $! 2> /dev/null
await are_gone 'tarrow_host get wan -'
expect "what is left of it, killed" "" "$(pgrep -f 'tarrow_host get wan -'; grep -ls "${copy##*/}" /proc/[0-9]*/mountinfo)"
rm -rf "$copy"
tool() { "$BASH" -c '. tools/setup.sh; . tools/device.sh; record=build/device/test; "$@"' - "$@"; }
for signal in INT QUIT TERM HUP KILL; do
    env -u TARROW_GROUP --default-signal=INT,QUIT,HUP "$BASH" -c '. tools/setup.sh; together sh -c "sleep 4711 & device/boot sleep 4711"' &
    await pgrep -xf 'sleep 4711'
    sleep 0.5
    kill -$signal $!
    wait $! 2> /dev/null
    status=$?
    expect "by $signal" $((128 + $(kill -l $signal))) $status
done
device/boot sleep 4712 &
await pgrep -xf 'sleep 4712'
kill -KILL $!
wait $! 2> /dev/null
await are_gone 'sleep 4712'
tool up 2> /dev/null
expect "a device that stays" "static 7" "$(tool in_device cfgdb_cmd set wan proto static
    echo $(tool in_device sh -c 'cfgdb_cmd get wan proto; sleep 4711 > /run/x & exit 7'; echo $?))"
env -u TARROW_GROUP "$BASH" -c '. tools/setup.sh; . tools/device.sh; record=build/device/test; in_device setsid sleep 4712' &
await pgrep -xf 'sleep 4712'
kill -KILL $!
wait $! 2> /dev/null
await are_gone 'sleep 4712'
expect "of a killed command in it, and what went on there" "sleep 4711" "$(pgrep -af 'sleep 471[12]' | cut -d' ' -f2-)"
sed -i.copy 's/ [0-9]*:[0-9]* / 1:2 /' build/device/test
expect "another folder's device" 1 "$(tool is_up; echo $?)"
mv build/device/test.copy build/device/test
tool down 2> /dev/null
expect "nothing outlives that, or a signal" "" "$(pgrep -f 'sleep 471[12]')"
exit $failed
