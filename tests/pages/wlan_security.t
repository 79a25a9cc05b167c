The Wi-Fi security page: whether an external WPS registrar is active, and the access point's WPS PIN.

# An external registrar is active

  $ fresh
  $ file /tmp/wsc/wsc_ext_reg.txt '2\n'
  $ file /tmp/wsc/wsc_ap_pin.txt '123456701234\n'
  $ get wlan_security '<wlan_security><wlan0><ap_pin/><ext_registrar/></wlan0></wlan_security>'
  <wlan_security><wlan0><ext_registrar>1</ext_registrar><ap_pin>12345670</ap_pin></wlan0></wlan_security>

The files of the first access point are preferred. A short PIN replaces the first digits of the usual one.

  $ file /tmp/wsc/wdev0ap0/wsc_ext_reg.txt 3
  $ file /tmp/wsc/wdev0ap0/wsc_ap_pin.txt 99
  $ get wlan_security '<wlan_security><wlan0><ext_registrar/><ap_pin/></wlan0></wlan_security>'
  <wlan_security><wlan0><ext_registrar>0</ext_registrar><ap_pin>99920518</ap_pin></wlan0></wlan_security>

# Without files there is no registrar and the usual PIN

Only the children of "wlan0" are filled, and become its last.

  $ fresh
  $ get wlan_security '<wlan_security><ap_pin/><wlan0><x><ap_pin/></x><ap_pin/><ext_registrar/><y/></wlan0></wlan_security>'
  <wlan_security><ap_pin /><wlan0><x><ap_pin /></x><y /><ext_registrar>0</ext_registrar><ap_pin>73920518</ap_pin></wlan0></wlan_security>
