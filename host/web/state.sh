# What the device's tools have set. Each entry ends in a NUL, since a name may hold a line end: a word that says what it
# is, a blank, and the value.
entry() { printf '%s\0' "$*"; }
for port in ccinet0 eth0 usb lan2 lan3 lan4; do
    if [ "$(cat /sys/class/net/$port/carrier)" = 1 ]; then entry cable "$port plugged"; else entry cable "$port pulled"; fi
done
while read -r station; do entry station "$station"; done < /sim/wlan/stations
leases list | while read -r lease; do entry lease "$lease"; done
for name in /sim/card/*; do entry sim "${name##*/}=$(head -c 200 "$name")"; done
for name in /sim/fail/*; do [ ! -e "$name" ] || entry fails "${name##*/}"; done
entry statistics "$(cat /sim/stat_server 2> /dev/null)"
entry upgrade "$(cat /tmp/wrote_bytes.txt 2> /dev/null) of $(cat /tmp/total_bytes.txt 2> /dev/null)"
for port in ccinet0 usb; do
    read -r received < /sys/class/net/$port/statistics/rx_bytes
    read -r sent < /sys/class/net/$port/statistics/tx_bytes
    entry traffic "$port: $received bytes received, $sent sent"
done
(cd /mnt/external_sdcard && find . -mindepth 1 -printf 'file %P (%s bytes)\0' | sort -z)
for name in /usr/app/* /etc/init.d/* /usr/sbin/*.sh /usr/bin/wapctl; do entry script "${name##*/}"; done
