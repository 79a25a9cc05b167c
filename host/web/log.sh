# What the system log and the serial console have gained since two positions, INODE-SIZE each. The first line has the
# new positions.
limit=262144
now() { stat -c %i-%s "$1"; }
gained() { # FILE POSITION NOW
    size=${3#*-} from=${2#*-}
    if [ "${2%-*}" != "${3%-*}" ]; then # the file has become another's predecessor
        if [ "${2%-*}" = "$(stat -c %i "$1.0" 2> /dev/null)" ]; then tail -c "+$((from + 1))" "$1.0" | tail -c $limit; fi
        from=0
    fi
    if [ $((size - from)) -gt $limit ]; then from=$((size - limit)); fi
    tail -c "+$((from + 1))" "$1" | head -c $((size - from))
}
messages=$(now /var/log/messages) console=$(now /var/log/console)
echo "$messages $console"
gained /var/log/messages "$1" "$messages"
gained /var/log/console "$2" "$console"
