The Wi-Fi client's scan list: the network that the client is connected to is marked in it.

# The network that the client is connected to is marked wherever it is listed

  $ fresh
  $ file /tmp/wifi_status.txt 'Cafe:1:WPA2-PSK:192.168.1.105\n'
  $ request pre-get wlan_cli_scan '<wlan_cli_scan><scan_list/></wlan_cli_scan>'
  + /etc/init.d/wlan_cli_scan_pre_get.sh get
  $ getlist wlan_cli_scan 'ssid#channel#signal' 'Cafe#6#-48' 'cafe#11#-71' 'Cafe#44#-75'
  ssid#channel#signal#connected#key_mgmt#ip_address
  Cafe#6#-48#1#WPA2-PSK#192.168.1.105
  
  cafe#11#-71
  Cafe#44#-75#1#WPA2-PSK#192.168.1.105
  
  now /tmp/wifi_conn_test.log $'string in wifi_status.txt is:Cafe:1:WPA2-PSK:192.168.1.105\n\nssid conn keymgmt  ip_address are: Cafe,1,WPA2-PSK,192.168.1.105\n\ndlist->dn_dlist[record][0],ssid,strlen(ssid) are:0,Cafe,Cafe,4\ndlist->dn_dlist[record][0],ssid,strlen(ssid) are:1,cafe,Cafe,4\ndlist->dn_dlist[record][0],ssid,strlen(ssid) are:2,Cafe,Cafe,4\n'

# Without a status file the list is left as it is

  $ fresh
  $ getlist wlan_cli_scan 'ssid#channel' 'Cafe#6'

An empty one adds the columns alone.

  $ file /tmp/wifi_status.txt
  $ getlist wlan_cli_scan ssid Cafe
  ssid#connected#key_mgmt#ip_address
  Cafe

Fields that the status line lacks are empty. The trace of an earlier request is replaced.

  $ file /tmp/wifi_status.txt Cafe
  $ file /tmp/wifi_conn_test.log "$(repeat 40 'old ')"
  $ getlist wlan_cli_scan ssid Cafe
  ssid#connected#key_mgmt#ip_address
  Cafe###
  was /tmp/wifi_conn_test.log 'old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old old '
  now /tmp/wifi_conn_test.log $'string in wifi_status.txt is:Cafe\nssid conn keymgmt  ip_address are: Cafe,,,\ndlist->dn_dlist[record][0],ssid,strlen(ssid) are:0,Cafe,Cafe,4\n'

# Fields are cut to their room, and colons in a row separate two fields once

The first record of the table is empty.

  $ fresh
  $ file /tmp/wifi_status.txt "::$(repeat 50 s)::12:$(repeat 20 k):$(repeat 20 i):more"
  $ getlist wlan_cli_scan ssid '~' "$(repeat 49 s)"
  ssid#connected#key_mgmt#ip_address
  sssssssssssssssssssssssssssssssssssssssssssssssss#1#kkkkkkkkkkkkkkkkkkk#iiiiiiiiiiiiiiiiiii
  now /tmp/wifi_conn_test.log $'string in wifi_status.txt is:::ssssssssssssssssssssssssssssssssssssssssssssssssss::12:kkkkkkkkkkkkkkkkkkkk:iiiiiiiiiiiiiiiiiiii:\nssid conn keymgmt  ip_address are: sssssssssssssssssssssssssssssssssssssssssssssssss,1,kkkkkkkkkkkkkkkkkkk,iiiiiiiiiiiiiiiiiii\ndlist->dn_dlist[record][0],ssid,strlen(ssid) are:1,sssssssssssssssssssssssssssssssssssssssssssssssss,sssssssssssssssssssssssssssssssssssssssssssssssss,49\n'

# A table of nine columns has room for three more, one of ten has not

A folder in the place of the trace file does not matter.

  $ fresh
  $ file /tmp/wifi_status.txt Cafe:1:WPA2-PSK:192.168.1.105
  $ mkdir /tmp/wifi_conn_test.log
  $ getlist wlan_cli_scan 'a#b#c#d#e#f#g#h#i' 'Cafe#b#c#d#e#f#g#h#i'
  a#b#c#d#e#f#g#h#i#connected#key_mgmt#ip_address
  Cafe#b#c#d#e#f#g#h#i#1#WPA2-PSK#192.168.1.105
  $ getlist wlan_cli_scan 'a#b#c#d#e#f#g#h#i#j' 'Cafe#b#c#d#e#f#g#h#i#j'
