#!/bin/sh
# The SIM check: tries the codes that the settings hold, once each, and leaves the state of the SIM in files.
# pin_status: 0 ready, 1 waits for the PIN, 2 waits for the PUK, 5 waits for a network lock's control key.
. /sim/record
: > /tmp/sim_checking_mutex
mkdir -p /tmp/telephony
chat() { /usr/app/at_chat -c "$1"; }
stored() { cfgdb_cmd get wan "cellular.$1" 2> /dev/null; }
forget() { for name; do if [ -n "$(stored "$name")" ]; then cfgdb_cmd set wan "cellular.$name" ''; fi; done; }
# Tries a command with stored codes, which are forgotten once the modem answers: try COMMAND NAME...
try() {
    if [ -n "$(chat "$1")" ]; then
        shift
        forget "$@"
    fi
}

if [ "$(/sim/sim_card get modem)" = absent ]; then
    printf 1 > /tmp/cellular_sim_status
    rm -f /tmp/telephony/pin_status /tmp/telephony/mep_category
    forget pin puk mep_nck mep_nsck mep_spck mep_cck mep_pck # the next SIM is another one
else
    printf 0 > /tmp/cellular_sim_status
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
        printf %s "$category" > /tmp/telephony/mep_category
        name=$(echo mep_nck mep_nsck mep_spck mep_cck mep_pck | cut -d' ' -f$((category + 1)))
        key=$(stored "$name")
        if [ -n "$key" ]; then
            try "AT+CLCK=$(echo PN PU PP PC PS | cut -d' ' -f$((category + 1))),0,$key" "$name"
        fi
    fi
    if [ "$(/sim/sim_card get mep)" = none ]; then rm -f /tmp/telephony/mep_category; fi
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
