The sms page: messages of the device ("dev") and of the SIM ("sim"). Scripts do the work, and leave their answers in
files below /tmp/telephony/sms.

# A message is sent and saved on the SIM, listed and deleted

  $ fresh
  $ rm -rf /sim/sms
  $ mkdir -p /tmp/telephony/sms
  $ post sms '<sms><send>+4912345#See you at 8</send><save>0791447758100650</save></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_set.sh save 0791447758100650
  + /etc/init.d/sms_pre_set.sh save 0791447758100650
  <14>tarrow:sms: Run /etc/init.d/sms_pre_set.sh send '+4912345#See you at 8'
  + /etc/init.d/sms_pre_set.sh send '+4912345#See you at 8'
  + /etc/init.d/sms_post_set.sh set
  now /tmp/telephony/sms/.save $'OK\n'
  now /tmp/telephony/sms/.send $'OK\n'
  $ get sms '<sms><list><sim/></list><save/><send/></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_get.sh list sim
  + /etc/init.d/sms_pre_get.sh list sim
  <sms><list><sim><item index="1"><index>1</index><stat>2</stat><length>16</length><pdu>0791447758100650</pdu></item></sim></list>
  <save>OK\n</save><send>OK\n</send></sms>
  now /tmp/telephony/sms/.list_sim $'1#2#16#0791447758100650\n'
  $ post sms '<sms><del><sim>1</sim></del></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_set.sh del sim 1
  + /etc/init.d/sms_pre_set.sh del sim 1
  + /etc/init.d/sms_post_set.sh set
  now /tmp/telephony/sms/.del_sim $'OK\n'

Who asks for the numbers of long messages has their parts put together.

  $ get sms '<sms><del><sim/></del><concat_number/></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_post_get.sh concat_number
  + /etc/init.d/sms_post_get.sh concat_number
  <sms><del><sim>OK\n</sim></del><concat_number /></sms>

# A message is stored in the device

Two others are not stored: one is not complete, and the index of one would be taken for an option.

  $ fresh
  $ post sms '<sms><list><dev><item><index>7</index><stat>1</stat><pdu>0791447758</pdu></item><item><index>8</index></item><item><index>--backend</index><stat>1</stat><pdu>07</pdu></item></dev></list></sms>'
  <14>tarrow:sms: KTX.sms.list.dev.item[0].index=7
  <14>tarrow:sms: KTX.sms.list.dev.item[0].stat=1
  <14>tarrow:sms: KTX.sms.list.dev.item[0].pdu=0791447758
  <14>tarrow:sms: Run cfgdb_cmd --backend /userfs/cfgdb/sms02.txt set sms 7 1#0791447758
  + cfgdb_cmd --backend /userfs/cfgdb/sms02.txt set sms 7 1#0791447758
  <14>tarrow:sms: KTX.sms.list.dev.item[1].index=8
  <14>tarrow:sms: KTX.sms.list.dev.item[2].index=--backend
  <14>tarrow:sms: KTX.sms.list.dev.item[2].stat=1
  <14>tarrow:sms: KTX.sms.list.dev.item[2].pdu=07
  + /etc/init.d/sms_post_set.sh set

# The device's messages are listed rather than the SIM's

Empty fields do not count. A line of more than 399 characters is two.

  $ fresh
  $ when /etc/init.d/sms_pre_get.sh
  $ file /tmp/telephony/sms/.list_dev "\n#7##5#\n#\n9#1#2#3#4\n$(repeat 399 a)b"
  $ get sms '<sms><list><sim/><dev/></list></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_get.sh list dev
  + /etc/init.d/sms_pre_get.sh list dev
  <sms><list><sim /><dev><item index="1"><index>7</index><stat>5</stat></item><item index="2">
  <index>9</index><stat>1</stat><length>2</length><pdu>3</pdu></item><item index="3"><index>aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa</index></item>
  <item index="4"><index>b</index></item></dev></list></sms>

# The device's messages are deleted rather than the SIM's

A command has at most 767 characters; a text that is cut stays quoted.

  $ fresh
  $ when /etc/init.d/sms_pre_set.sh
  $ request pre-set sms "<sms><del><sim>4</sim><dev>1 2</dev></del><send>$(repeat 800 ';')</send></sms>"
  <14>tarrow:sms: Run /etc/init.d/sms_pre_set.sh del dev '1 2'
  + /etc/init.d/sms_pre_set.sh del dev '1 2'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_set.sh send ';;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;'
  + /etc/init.d/sms_pre_set.sh send ';;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;;'

# An answer is one line, and one that is missing ends the page

  $ fresh
  $ when /etc/init.d/sms_pre_get.sh
  $ file /tmp/telephony/sms/.del_dev "$(repeat 80 d)"
  $ file /tmp/telephony/sms/.capacity_sim ' 50000\n'
  $ file /tmp/telephony/sms/.save 'saved\nx'
  $ get sms '<sms><send/><save/><capacity><sim/></capacity><del><sim/><dev/></del></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_get.sh capacity sim
  + /etc/init.d/sms_pre_get.sh capacity sim
  <11>tarrow:sms: Failed to open file: /tmp/telephony/sms/.send
  pre-get: -1
  <sms><send /><save>saved\n</save><capacity><sim>500</sim></capacity><del><sim /><dev>ddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddddd</dev></del></sms>
  $ get sms '<sms><save/><list><dev/></list></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_get.sh list dev
  + /etc/init.d/sms_pre_get.sh list dev
  <11>tarrow:sms: Failed to open file: /tmp/telephony/sms/.list_dev
  pre-get: -1

A capacity without a word ends the page, an empty answer does not.

  $ file /tmp/telephony/sms/.capacity_sim ' \n'
  $ get sms '<sms><save/><capacity><sim/></capacity></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_get.sh capacity sim
  + /etc/init.d/sms_pre_get.sh capacity sim
  <11>tarrow:sms: Failed to get token from:  \n
  pre-get: -1
  $ file /tmp/telephony/sms/.capacity_sim
  $ get sms '<sms><save/><capacity><sim/></capacity></sms>'
  <14>tarrow:sms: Run /etc/init.d/sms_pre_get.sh capacity sim
  + /etc/init.d/sms_pre_get.sh capacity sim
  <sms><save>saved\n</save><capacity><sim /></capacity></sms>
