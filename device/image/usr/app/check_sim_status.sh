#!/bin/sh
# The SIM check: tries the codes that the settings hold, once each, and leaves the state of the SIM in files.
# pin_status: 0 ready, 1 waits for the PIN, 2 waits for the PUK, 5 waits for a network lock's control key.
. /sim/record
: > /tmp/sim_checking_mutex
mkdir -p /tmp/telephony
chat() { /usr/app/at_chat -c "$1"; }
stored() { cfgdb_cmd get wan "cellular.$1" 2> /dev/null; }
used() { for name; do cfgdb_cmd set wan "cellular.$name" ''; done; }

if [ "$(/sim/sim_card get modem)" = absent ]; then
    printf 1 > /tmp/cellular_sim_status
else
    printf 0 > /tmp/cellular_sim_status
    pin=$(stored pin) puk=$(stored puk)
    if [ "$(/sim/sim_card get pin_left)" = 0 ]; then
        if [ -n "$puk" ] && [ -n "$pin" ]; then
            chat "AT+CPIN=$puk,$pin" > /dev/null
            used puk pin
        fi
    elif [ "$(/sim/sim_card get open)" = 0 ] && [ -n "$pin" ]; then
        chat "AT+CPIN=$pin" > /dev/null
        used pin
    fi
    category=$(/sim/sim_card get mep)
    if [ "$category" != none ]; then
        printf %s "$category" > /tmp/telephony/mep_category
        name=$(echo mep_nck mep_nsck mep_spck mep_cck mep_pck | cut -d' ' -f$((category + 1)))
        key=$(stored "$name")
        if [ -n "$key" ]; then
            chat "AT+CLCK=PN,0,$key" > /dev/null
            used "$name"
        fi
    fi
    status=0
    if [ "$(/sim/sim_card get pin_left)" = 0 ]; then status=2
    elif [ "$(/sim/sim_card get open)" = 0 ]; then status=1
    elif [ "$(/sim/sim_card get mep)" != none ]; then status=5; fi
    printf %s $status > /tmp/telephony/pin_status
    printf %s "$(/sim/sim_card get pin_left)" > /tmp/telephony/pin_attempts
    printf %s "$(/sim/sim_card get puk_left)" > /tmp/telephony/puk_attempts
fi
printf 0 > /tmp/check_sim.txt
rm -f /tmp/sim_checking_mutex
