#!/bin/sh
# Leaves the name of the Ethernet WAN port in /tmp/eth_ifc.
. /sim/record
echo eth0 > /tmp/eth_ifc
