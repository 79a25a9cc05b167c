# What the device's tools have set, a line each: a word that says what it is, then the value.
for port in ccinet0 eth0 usb lan2 lan3 lan4; do
    if [ "$(cat /sys/class/net/$port/carrier)" = 1 ]; then echo "plugged $port"; else echo "pulled $port"; fi
done
cd /sim/card && for name in *; do echo "sim $name=$(head -c 40 "$name" | head -n 1)"; done
sed 's/^/station /' /sim/wlan/stations
ls /sim/fail | sed 's/^/fails /'
sd_card list | sed 's/^/card /'
