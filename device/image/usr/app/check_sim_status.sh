#!/bin/sh
# The SIM check: finds out whether a SIM is there and what state its PIN is in.
. /sim/record
: > /tmp/sim_checking_mutex
printf 0 > /tmp/cellular_sim_status
printf 0 > /tmp/telephony/pin_status
printf 3 > /tmp/telephony/pin_attempts
printf 10 > /tmp/telephony/puk_attempts
printf 0 > /tmp/check_sim.txt
rm -f /tmp/sim_checking_mutex
