#!/bin/sh
# Sets the default route for the WAN connection in the settings.
. /sim/record
case $(cfgdb_cmd get wan proto 2> /dev/null | tr A-Z a-z) in
    disabled | usbmodem | wifi) ip route flush default ;;
    cellular) ip route replace default dev ccinet0 ;;
    *) ip route replace default via 198.51.100.1 dev eth0 ;;
esac
