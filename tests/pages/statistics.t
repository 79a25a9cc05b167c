The statistics page: traffic of the WAN interface, the USB link and the access point, and of the billing period.

# The WAN connection, and a billing period that began last month

It is 21:00 UTC on 1 January 2026, and midnight on the device. The server is asked about the other interfaces as well.

  $ fresh
  $ setting statistics StatisticsStartDay 3
  $ export CLOCK=1767301200
  $ export TZ=UTC-3
  $ setting wan proto cellular
  $ file /sys/class/net/ccinet0/statistics/rx_packets '81204\n'
  $ file /sys/class/net/ccinet0/statistics/tx_packets '40310\n'
  $ server '104857600 1 7340032 0 3600' '524288000 12 209715200 3 3600' '125000 20480' '0 0 0 0 0' '0 0 0 0 0'
  $ get statistics '<statistics><WanStatistics><rx/><tx/><rx_giga_bytes/><tx_giga_bytes/><rx_bytes/><tx_bytes/></WanStatistics><WanStatisticsAccu><tx_speed/><rx_speed/><tx_giga_bytes/><rx_giga_bytes/><tx_bytes/><rx_bytes/></WanStatisticsAccu></statistics>'
  asked: operation 1, ccinet0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
  asked: operation 1, ccinet0 1 0 0 0 3 11 125 0 0 0 0 0 0 0 0 2 0 126 0 0 0 0 0
  asked: operation 2, ccinet0
  asked: operation 1, usb 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
  asked: operation 1, uap0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
  + /usr/app/get_wan_interface.sh
  + /usr/app/get_wan_interface.sh
  <statistics><WanStatistics><rx>81204</rx><tx>40310</tx><rx_giga_bytes>1</rx_giga_bytes><tx_giga_bytes>0</tx_giga_bytes>
  <rx_bytes>104857600</rx_bytes><tx_bytes>7340032</tx_bytes></WanStatistics><WanStatisticsAccu>
  <rx_bytes>524288000</rx_bytes><tx_bytes>209715200</tx_bytes><rx_giga_bytes>12</rx_giga_bytes>
  <tx_giga_bytes>3</tx_giga_bytes><rx_speed>125000</rx_speed><tx_speed>20480</tx_speed></WanStatisticsAccu></statistics>
  now /tmp/wan_ifc $'ccinet0\n'

# The elements of a group come in one order, those that are not filled first

Only the access point has counts of dropped packets and collisions. Without a WAN interface its groups stay empty.

  $ fresh
  $ when /usr/app/get_wan_interface.sh
  $ file /sys/class/net/usb/statistics/rx_packets '201\n'
  $ file /sys/class/net/uap0/statistics/rx_packets '301\n'
  $ file /sys/class/net/uap0/statistics/rx_errors '302\n'
  $ file /sys/class/net/uap0/statistics/rx_dropped '303\n'
  $ file /sys/class/net/uap0/statistics/tx_packets '304\n'
  $ file /sys/class/net/uap0/statistics/tx_errors '305\n'
  $ file /sys/class/net/uap0/statistics/tx_dropped '306\n'
  $ file /sys/class/net/uap0/statistics/collisions '307\n'
  $ server '13 14 15 16 17' '18 19 -20 21 22'
  $ get statistics '<statistics><WlanStatistics><errors/><tx_bytes/><rx_bytes/><tx_giga_bytes/><rx_giga_bytes/><tx_dropped/><tx_collisions/><rx_dropped/><tx/><rx/></WlanStatistics><LanStatistics><errors/><tx_bytes/><rx_bytes/><tx_giga_bytes/><rx_giga_bytes/><tx_dropped/><tx_collisions/><rx_dropped/><rx/></LanStatistics><WanStatistics><rx/></WanStatistics><WanStatisticsAccu><rx_bytes/></WanStatisticsAccu></statistics>'
  asked: operation 1, usb 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
  asked: operation 1, uap0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
  + /usr/app/get_wan_interface.sh
  + /usr/app/get_wan_interface.sh
  <statistics><WlanStatistics><rx>301</rx><tx>304</tx><rx_dropped>303</rx_dropped><tx_collisions>307</tx_collisions>
  <tx_dropped>306</tx_dropped><rx_giga_bytes>19</rx_giga_bytes><tx_giga_bytes>21</tx_giga_bytes>
  <rx_bytes>18</rx_bytes><tx_bytes>-20</tx_bytes><errors>607</errors></WlanStatistics><LanStatistics>
  <tx_dropped /><tx_collisions /><rx_dropped /><rx>201</rx><rx_giga_bytes>14</rx_giga_bytes>
  <tx_giga_bytes>16</tx_giga_bytes><rx_bytes>13</rx_bytes><tx_bytes>15</tx_bytes><errors>0</errors></LanStatistics>
  <WanStatistics><rx /></WanStatistics><WanStatisticsAccu><rx_bytes /></WanStatisticsAccu></statistics>

# Without a server the kernel's counts are shown

Of a line 19 characters count, and of its number the low 32 bits. A file that begins with no number counts as 0.

  $ fresh
  $ when /usr/app/get_wan_interface.sh
  $ file /sys/class/net/uap0/statistics/rx_packets '00000000021474836489\n'
  $ file /sys/class/net/uap0/statistics/rx_errors 'x7\n'
  $ file /sys/class/net/uap0/statistics/tx_errors '8589934587\n'
  $ get statistics '<statistics><WlanStatistics><errors/><rx_bytes/><rx/></WlanStatistics></statistics>'
  + /usr/app/get_wan_interface.sh
  + /usr/app/get_wan_interface.sh
  Open server fifo failure
  Open server fifo failure
  <statistics><WlanStatistics><rx>-2147483648</rx><rx_bytes>0</rx_bytes><errors>-5</errors></WlanStatistics></statistics>

# A request waits for another client, and the rest of a short answer is 0

  $ fresh
  $ when /usr/app/get_wan_interface.sh
  $ file /tmp/.sflck
  $ meanwhile 1 'rm /tmp/.sflck'
  $ server '1 2 3' '4 5 6 7 8'
  $ get statistics '<statistics><LanStatistics><tx_bytes/><tx_giga_bytes/></LanStatistics></statistics>'
  asked: operation 1, usb 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
  asked: operation 1, uap0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0
  + /usr/app/get_wan_interface.sh
  + /usr/app/get_wan_interface.sh
  wait 500 ms
  client read output error. ret:[12] != output_dsize:[20]
  <statistics><LanStatistics><tx_giga_bytes>0</tx_giga_bytes><tx_bytes>3</tx_bytes></LanStatistics></statistics>
  was /tmp/.sflck ''

# The self-test makes one request of each kind

  $ fresh
  $ server '1 2 -1 4 5' '6' '7 8'
  $ tarrow_host stat-selftest
  asked: operation 1, Accu Interface 0 0 0 0 1 4 113 0 0 0 0 0 0 0 0 1 5 113 0 0 0 0 0
  asked: operation 0, Reset Interface
  asked: operation 2, Speed Interface
  got output
  rx:[1] rx_g:[2] tx:[-1] tx_g:[4] 
  got reset output ret:[6]
  speed output
  rx:[7] tx:[8]
