#!/bin/sh
# Copies the SIM's phone book to the stored list of contacts.
. /sim/record
list=
while IFS=, read -r record number type text; do
    list="$list${list:+^}$(printf '%s:%s:%s:%s' "$record" "$number" "$type" "$(printf %s "$text" | tr ':^' '..')")"
done < /sim/card/phone_book
cfgdb_cmd set contacts sim_contacts "$list"
