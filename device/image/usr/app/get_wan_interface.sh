#!/bin/sh
# Writes the name of the WAN connection's interface to /tmp/wan_ifc.
. /sim/record
case $(cfgdb_cmd get wan proto 2> /dev/null | tr A-Z a-z) in
    disabled) rm -f /tmp/wan_ifc ;;
    cellular) echo ccinet0 > /tmp/wan_ifc ;;
    usbmodem) echo umodem0 > /tmp/wan_ifc ;;
    wifi) echo wlan0 > /tmp/wan_ifc ;;
    *) echo eth0 > /tmp/wan_ifc ;;
esac
