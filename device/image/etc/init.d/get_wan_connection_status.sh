#!/bin/sh
# Leaves the state of the WAN connection on interface $1, which is present ($2 is 1) or not, in
# /tmp/wan_conn_status and /tmp/wan_disc.
. /sim/record
state=disconnected down=1
if [ "$2" = 1 ] && [ "$(cat "/sys/class/net/$1/carrier")" = 1 ]; then
    state=connected down=0
fi 2> /dev/null
printf %s $state > /tmp/wan_conn_status
printf %s $down > /tmp/wan_disc
