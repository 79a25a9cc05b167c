# What the system log and the serial console have gained since two positions, INODE-SIZE each. The first line has the
# new positions. Both files stay open meanwhile, since the system log's becomes messages.0 when it is full.
limit=262144
exec 3< /var/log/messages 4< /var/log/console
now() { stat -L -c %i-%s "/proc/self/fd/$1"; }
gained() { # DESCRIPTOR POSITION NOW FILE-BEFORE
    size=${3#*-} from=${2#*-}
    if [ "${2%-*}" != "${3%-*}" ]; then
        if [ "${2%-*}" = "$(stat -c %i "$4" 2> /dev/null)" ]; then tail -c "+$((from + 1))" "$4" | tail -c $limit; fi
        from=0
    fi
    if [ $((size - from)) -gt $limit ]; then from=$((size - limit)); fi
    tail -c "+$((from + 1))" "/proc/self/fd/$1" | head -c $((size - from))
}
messages=$(now 3) console=$(now 4)
echo "$messages $console"
gained 3 "$1" "$messages" /var/log/messages.0
gained 4 "$2" "$console" ""
