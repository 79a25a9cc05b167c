#!/bin/sh
# The SIM check: tries each code of the settings once, and writes the state of the SIM to files.
# `sim_card --help` explains pin_status.
. /sim/record
: > /tmp/sim_checking_mutex
chat() { /usr/app/at_chat -c "$1"; }
stored() { cfgdb_cmd get wan "cellular.$1" 2> /dev/null; }
forget() { for name; do if [ -n "$(stored "$name")" ]; then cfgdb_cmd set wan "cellular.$name" ''; fi; done; }
# Tries a command with stored codes, and deletes the codes when the modem answers: try COMMAND NAME...
try() {
    if [ -n "$(chat "$1")" ]; then
        shift
        forget "$@"
    fi
}

if [ "$(/sim/sim_card get modem)" = absent ]; then
    forget pin puk mep_nck mep_nsck mep_spck mep_cck mep_pck # the codes are not for the next SIM
else
    pin=$(stored pin) puk=$(stored puk)
    if [ "$(/sim/sim_card get pin_left)" = 0 ]; then
        if [ -n "$puk" ] && [ -n "$pin" ]; then
            try "AT+CPIN=$puk,$pin" puk pin
        fi
    elif [ "$(/sim/sim_card get open)" = 0 ] && [ -n "$pin" ]; then
        try "AT+CPIN=$pin" pin
    fi
    category=$(/sim/sim_card get mep)
    if [ "$category" != none ]; then
        name=$(echo mep_nck mep_nsck mep_spck mep_cck mep_pck | cut -d' ' -f$((category + 1)))
        key=$(stored "$name")
        if [ -n "$key" ]; then
            try "AT+CLCK=$(echo PN PU PP PC PS | cut -d' ' -f$((category + 1))),0,$key" "$name"
        fi
    fi
fi
/sim/sim_card show
printf 0 > /tmp/check_sim.txt
rm -f /tmp/sim_checking_mutex
