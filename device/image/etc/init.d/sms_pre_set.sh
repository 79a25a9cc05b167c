#!/bin/sh
# Changes the message stores, and writes "OK" or "ERROR" to a file below /tmp/telephony/sms:
# sms_pre_set.sh del dev|sim INDEX[,INDEX...] | save TEXT | send TEXT
. /sim/record
answers=/tmp/telephony/sms store=/sim/sms/sim capacity=50
mkdir -p $answers /sim/sms
touch $store
one_line() { printf %s "$1" | tr '\n' ' '; }
case $1 in
    del)
        result=OK
        for index in $(one_line "$3" | tr , ' '); do
            export index
            case $2 in
                dev) cfgdb_cmd --backend /userfs/cfgdb/sms02.txt set sms "$index" '' || result=ERROR ;;
                sim)
                    awk -F'#' '$1 "" != ENVIRON["index"] ""' $store > $store.new
                    if cmp -s $store $store.new; then result=ERROR; fi
                    mv $store.new $store
                    ;;
            esac
        done
        echo $result > $answers/.del_"$2"
        ;;
    save)
        if [ "$(grep -c . $store)" -ge $capacity ]; then
            echo ERROR > $answers/.save
        else
            index=$(($(cut -d'#' -f1 $store | sort -n | tail -1) + 1))
            printf '%s#2#%s#%s\n' $index ${#2} "$(one_line "$2")" >> $store
            echo OK > $answers/.save
        fi
        ;;
    send)
        printf '%s\n' "$2" >> /sim/sms/sent
        echo OK > $answers/.send
        ;;
esac
