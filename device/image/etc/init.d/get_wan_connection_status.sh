#!/bin/sh
# Writes the state of the WAN connection on interface $1 to /tmp/wan_conn_status and /tmp/wan_disc. $2 is 1 when the
# interface is present. A modem's connection ends with its carrier; an unplugged Ethernet port keeps its addresses.
. /sim/record
state=disconnected down=1
case $1 in eth*) carrier=1 ;; *) carrier=$(cat "/sys/class/net/$1/carrier" 2> /dev/null) ;; esac
if [ "$2" = 1 ] && [ "$carrier" = 1 ]; then
    state=connected down=0
fi
printf %s $state > /tmp/wan_conn_status
printf %s $down > /tmp/wan_disc
