#!/bin/sh
# Leaves the state of the WAN connection on interface $1, which is present ($2 is 1) or not, in
# /tmp/wan_conn_status and /tmp/wan_disc. A modem's connection is lost with its carrier; an Ethernet
# port that is unplugged keeps its addresses.
. /sim/record
state=disconnected down=1
case $1 in eth*) carrier=1 ;; *) carrier=$(cat "/sys/class/net/$1/carrier" 2> /dev/null) ;; esac
if [ "$2" = 1 ] && [ "$carrier" = 1 ]; then
    state=connected down=0
fi
printf %s $state > /tmp/wan_conn_status
printf %s $down > /tmp/wan_disc
