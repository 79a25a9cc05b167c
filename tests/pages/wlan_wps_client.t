The WPS page: how the last WPS run ended.

# The result of a run is its first character, and 0 before a run

  $ fresh
  $ get wlan_wps_client '<wlan_wps_client><x><wps_result/></x><wps_result/><y/></wlan_wps_client>'
  <wlan_wps_client><x><wps_result /></x><y /><wps_result>0</wps_result></wlan_wps_client>
  $ file /tmp/wps/wps_result '3\n'
  $ get wlan_wps_client '<wlan_wps_client><wps_result/></wlan_wps_client>'
  <wlan_wps_client><wps_result>3</wps_result></wlan_wps_client>

# A posted PIN is for the second script, the first one does not run

  $ fresh
  $ post wlan_wps_client '<wlan_wps_client><wps_pin>12345670</wps_pin></wlan_wps_client>'
  + /etc/init.d/wlan_wps_client_post_set.sh set
