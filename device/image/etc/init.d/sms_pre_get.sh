#!/bin/sh
# Writes the messages or the capacity of a message store to a file below /tmp/telephony/sms:
# sms_pre_get.sh list dev|sim | sms_pre_get.sh capacity sim
. /sim/record
mkdir -p /tmp/telephony/sms /sim/sms
case "$1 $2" in
    'list dev') # the backend has lines "sms INDEX STATUS#PDU"
        cfgdb_cmd --backend /userfs/cfgdb/sms02.txt list sms 2> /dev/null |
            sed 's/\\n/ /g; s/\\\\/\\/g' |
            while read -r _ index value; do
                pdu=${value#*#}
                if [ -n "$pdu" ]; then printf '%s#%s#%s#%s\n' "$index" "${value%%#*}" ${#pdu} "$pdu"; fi
            done > /tmp/telephony/sms/.list_dev
        ;;
    'list sim') cat /sim/sms/sim > /tmp/telephony/sms/.list_sim 2> /dev/null ;;
    'capacity sim') echo 50 > /tmp/telephony/sms/.capacity_sim ;;
esac
