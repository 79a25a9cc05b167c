#!/bin/sh
# Starts the cellular connection, which begins with a SIM check.
. /sim/record
/usr/app/check_sim_status.sh
