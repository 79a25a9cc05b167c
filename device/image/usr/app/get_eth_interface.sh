#!/bin/sh
# Writes the name of the Ethernet WAN port to /tmp/eth_ifc.
. /sim/record
echo eth0 > /tmp/eth_ifc
