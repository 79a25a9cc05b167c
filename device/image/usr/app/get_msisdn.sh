#!/bin/sh
# Reads the subscriber number from the SIM's phone book.
. /sim/record
printf '+15550100' > /tmp/telephony/msisdn
printf 1 > /tmp/pb_ready
