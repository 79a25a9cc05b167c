#!/bin/sh
# Starts the cellular connection, of which only the SIM check is simulated.
. /sim/record
/usr/app/check_sim_status.sh
