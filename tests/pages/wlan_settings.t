The Wi-Fi settings page: the radio channel in use.

# The channel that the access point chose is left for the next request

  $ fresh
  $ setting wlan_settings channel 0
  $ echo 11 > /sim/wlan/channel
  $ call wlan_get '<wlan_settings><channel/></wlan_settings>'
  + /usr/bin/wapctl sys_cfg_channel
  + echo 11 > /tmp/channel.txt
  <wlan_settings><channel>11</channel></wlan_settings>
  now /tmp/channel.txt $'11\n'

The next request takes the notice with its line end.

  $ call wlan_get '<wlan_settings><channel/></wlan_settings>'
  <wlan_settings><channel>11\n</channel></wlan_settings>
  was /tmp/channel.txt $'11\n'

A notice without a line is taken as well, and the stored channel shown.

  $ file /tmp/channel.txt
  $ call wlan_get '<wlan_settings><channel/></wlan_settings>'
  <wlan_settings><channel>0</channel></wlan_settings>
  was /tmp/channel.txt ''

# A channel that the user chose is shown as it is stored, cut to its room

Without a stored channel the page stays empty. In both cases nobody takes the notice.

  $ fresh
  $ file /tmp/channel.txt '7\n'
  $ call wlan_get '<wlan_settings><channel/></wlan_settings>'
  $ setting wlan_settings channel a-channel-of-many-letters
  $ call wlan_get '<wlan_settings><x><channel/></x><channel/></wlan_settings>'
  <wlan_settings><x><channel /></x><channel>a-channel-of-many-l</channel></wlan_settings>

# The stored 0 is shown where the access point's utility does not name a channel

  $ fresh
  $ setting wlan_settings channel 0
  $ POPEN_FAILS=1 call wlan_get '<wlan_settings><channel/></wlan_settings>'
  + /usr/bin/wapctl sys_cfg_channel
  <43>tarrow:wlan_settings: find_channel: popen is failed \n
  <wlan_settings><channel>0</channel></wlan_settings>
  $ when /usr/bin/wapctl 'echo one line'
  $ call wlan_get '<wlan_settings><channel/></wlan_settings>'
  + /usr/bin/wapctl sys_cfg_channel
  <wlan_settings><channel>0</channel></wlan_settings>
  $ when /usr/bin/wapctl 'echo a line; echo channel 7'
  $ call wlan_get '<wlan_settings><channel/></wlan_settings>'
  + /usr/bin/wapctl sys_cfg_channel
  + echo 0 > /tmp/channel.txt
  <wlan_settings><channel>0</channel></wlan_settings>
  now /tmp/channel.txt $'0\n'

# What the utility names is no shell syntax, and is shown though no notice can be left

  $ fresh
  $ setting wlan_settings channel 0
  $ when /usr/bin/wapctl 'mkdir /tmp/channel.txt; echo; echo "        Channel = \`id\`;>/tmp/x;yyyyyyyyy"'
  $ call wlan_get '<wlan_settings><channel/></wlan_settings>'
  + /usr/bin/wapctl sys_cfg_channel
  + echo '`id`;>/tmp/x;yyyyyy' > /tmp/channel.txt
  sh: 1: cannot create /tmp/channel.txt: Is a directory
  <43>tarrow:wlan_settings: find_channel: system command is failed \n
  <wlan_settings><channel>`id`;&gt;/tmp/x;yyyyyy</channel></wlan_settings>
  now /tmp/channel.txt/
