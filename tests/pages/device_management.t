The list of hosts: which of them are connected now, with which address, and how many they are.

# The hosts that are connected, and their number

The daemon asks with the page, then with the stored list, and at last with the page again.

  $ fresh
  $ request pre-get device_management '<device_management><connected>1</connected><nr_connected_dev/></device_management>' then post-get device_management 'mac#name#first_seen#last_seen#type' '02:00:00:00:01:64#desk#2026-01-05#2026-02-01#USB' '02:00:00:00:01:99#old#2026-01-06#2026-01-30#USB' '02:00:00:00:01:69#tablet#2026-01-07#2026-02-01#WLAN-5GHz' then post-get device_management '<device_management><nr_connected_dev/></device_management>'
  + /usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh
  + /system/usr/sbin/brctl showmacs br0
  + /system/usr/bin/wapctl -i uap0 sta_list
  mac#name#first_seen#last_seen#type#connected#ip_address
  02:00:00:00:01:64#desk#2026-01-05#2026-02-01#USB#1#192.168.1.100
  02:00:00:00:01:69#tablet#2026-01-07#2026-02-01#WLAN#1#192.168.1.105
  <device_management><nr_connected_dev>2</nr_connected_dev></device_management>

What one request asks for does not count for the next. The second one shows all hosts and no number, the third one a
number without a list.

  $ request pre-get device_management '<device_management><connected>1</connected><nr_connected_dev/></device_management>' then pre-get device_management '<device_management><connected/><x><connected>1</connected><nr_connected_dev/></x></device_management>' then post-get device_management 'mac#name#first_seen#last_seen#type' '02:00:00:00:01:99####USB' then post-get device_management '<device_management><nr_connected_dev/></device_management>' then pre-get device_management '<device_management><nr_connected_dev/></device_management>' then post-get device_management '<device_management><nr_connected_dev/><x><nr_connected_dev/></x></device_management>'
  + /usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh
  + /usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh
  + /system/usr/sbin/brctl showmacs br0
  + /system/usr/bin/wapctl -i uap0 sta_list
  mac#name#first_seen#last_seen#type#connected#ip_address
  02:00:00:00:01:99####USB#0
  + /usr/app/agent_client 0 /etc/init.d/device_management_pre_get.sh
  <device_management><nr_connected_dev>0</nr_connected_dev><x><nr_connected_dev /></x></device_management>

# A host is connected at ports 1 to 4 of the bridge, or as a station of the access point

The first line of the bridge's table and the first two lines about stations are headings.

  $ fresh
  $ when /system/usr/sbin/brctl 'printf "1 heading no 1\n0 port-0 no 1\n1 port-1 no 1\n 4 Port-4 No 1\n5 port-5 no 1\n12 port-12 no 1\n1 local yes 1"'
  $ when /system/usr/bin/wapctl 'printf "MAC Address: heading\nMAC Address: heading\n  MAC Address: Station\nMAC cut\nother\n-MAC Address:end"'
  $ getlist device_management 'mac#name#first_seen#last_seen#type' 'heading####USB' 'port-0####USB' 'port-1####USB' 'port-4####USB-4' 'port-5####USB' 'port-12####USB' 'local####USB' '~####' 'port-1####usb' 'heading####WLAN' 'station####WLAN-5GHz' 'cut####WLAN' 'END####WLAN'
  + /system/usr/sbin/brctl showmacs br0
  + /system/usr/bin/wapctl -i uap0 sta_list
  mac#name#first_seen#last_seen#type#connected#ip_address
  heading####USB#0
  port-0####USB#0
  port-1####USB#1
  port-4####USB-4#1
  port-5####USB#0
  port-12####USB#0
  local####USB#0
  port-1####usb#0
  heading####WLAN#0
  station####WLAN#1
  cut####WLAN#0
  END####WLAN#1

# The address of a host is the bridge's in the ARP table, or that of its lease

  $ fresh
  $ file /proc/net/arp '9.9.9.9 1 2 heading * br0\n10.0.0.2 1 2 Arp * BR0\n10.0.0.3 1 2 elsewhere * eth0\n10.0.0.4 1 2 short br0'
  $ file /var/lib/udhcpd.leases "\n\x1b,=N_$(repeat 10 c)\xc0\0\x01\xfe$(repeat 36 x)\n\x1b,=N_$(repeat 10 c)\x01\x02\x03\x04$(repeat 36 x)\n\x1b,=N\`$(repeat 10 c)\x05\x05\x05\x05$(repeat 35 x)"
  $ when /system/usr/sbin/brctl 'printf "heading\n1 heading no 1\n1 arp no 1\n1 elsewhere no 1\n1 short no 1\n1 0a:1b:2c:3d:4e:5f no 1\n1 0a:1b:2c:3d:4e:60 no 1\n"'
  $ getlist device_management 'mac#name#first_seen#last_seen#type' 'heading####USB' 'arp####USB' 'elsewhere####USB' 'short####USB' '0A:1B:2C:3D:4E:5F####USB' '0a:1b:2c:3d:4e:60####USB'
  + /system/usr/sbin/brctl showmacs br0
  + /system/usr/bin/wapctl -i uap0 sta_list
  mac#name#first_seen#last_seen#type#connected#ip_address
  heading####USB#1
  arp####USB#1#10.0.0.2
  elsewhere####USB#1
  short####USB#1
  0A:1B:2C:3D:4E:5F####USB#1#192.0.1.254
  0a:1b:2c:3d:4e:60####USB#1

# Words and lines that are too long are cut

  $ fresh
  $ file /proc/net/arp "$(repeat 127 h)$(repeat 20 1) x x $(repeat 20 a) * br0 more\n$(repeat 127 f)2.2.2.2 1 2 bb * br0\n"
  $ when /system/usr/sbin/brctl "printf '$(repeat 62 h)\n1 $(repeat 19 a)no 5\n$(repeat 63 f)2 bb no 0.1\n'"
  $ when /system/usr/bin/wapctl "printf '$(repeat 63 h)\n$(repeat 63 f)MAC Address: cc\nMAC Address: $(repeat 20 c)\n'"
  $ getlist device_management 'mac#name#first_seen#last_seen#type' "$(repeat 19 a)####USB" 'bb####USB' 'cc####WLAN' "$(repeat 19 c)####WLAN"
  + /system/usr/sbin/brctl showmacs br0
  + /system/usr/bin/wapctl -i uap0 sta_list
  mac#name#first_seen#last_seen#type#connected#ip_address
  aaaaaaaaaaaaaaaaaaa####USB#1#1111111111111111111
  bb####USB#1#2.2.2.2
  cc####WLAN#1
  ccccccccccccccccccc####WLAN#1

# The address has no column in a list that has room for one more only

  $ fresh
  $ getlist device_management 'mac#name#first_seen#last_seen#type#6#7#8#9#10#11' '02:00:00:00:01:64####USB#6#7#8#9#10#11'
  + /system/usr/sbin/brctl showmacs br0
  + /system/usr/bin/wapctl -i uap0 sta_list
  mac#name#first_seen#last_seen#type#6#7#8#9#10#11#connected
  02:00:00:00:01:64####USB#6#7#8#9#10#11#1

# A table that cannot be read is empty

There are no leases and no access point, and the bridge's utility cannot be started.

  $ fresh
  $ mv /var/lib/udhcpd.leases /run && ip link set uap0 name away
  $ POPEN_FAILS=1 getlist device_management 'mac#name#first_seen#last_seen#type' '02:00:00:00:01:64####USB'
  + /system/usr/sbin/brctl showmacs br0
  mac#name#first_seen#last_seen#type#connected#ip_address
  02:00:00:00:01:64####USB#0
  $ mv /run/udhcpd.leases /var/lib && ip link set away name uap0 && ip link set uap0 up
