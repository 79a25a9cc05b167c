#!/bin/sh
# Acts on the message stores, and leaves the result in a file below /tmp/telephony/sms:
# sms_pre_set.sh del dev|sim INDEX[,INDEX...] | save TEXT | send TEXT
. /sim/record
answers=/tmp/telephony/sms
mkdir -p $answers /sim/sms
case $1 in
    del)
        printf %s "$3" | tr , '\n' | while read -r index || [ -n "$index" ]; do
            case $2 in
                dev) cfgdb_cmd --backend /userfs/cfgdb/sms02.txt set sms "$index" '' ;;
                sim) grep -v "^$index#" /sim/sms/sim > /sim/sms/new; mv /sim/sms/new /sim/sms/sim ;;
            esac
        done
        echo OK > $answers/.del_"$2"
        ;;
    save)
        index=$(($(cut -d'#' -f1 /sim/sms/sim 2> /dev/null | sort -n | tail -1) + 1))
        printf '%s#2#%s#%s\n' $index ${#2} "$2" >> /sim/sms/sim
        echo OK > $answers/.save
        ;;
    send)
        printf '%s\n' "$2" >> /sim/sms/sent
        echo OK > $answers/.send
        ;;
esac
