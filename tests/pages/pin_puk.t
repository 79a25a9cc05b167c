The pin_puk page: the PIN lock and the network lock of the SIM, the attempts that are left, and what the user does.

# The modem is asked once, when there is a SIM, and its answers are kept

  $ fresh
  $ /sim/sim_card new
  $ get pin_puk '<pin_puk><pin_attempts/><puk_attempts/><pin_enabled/></pin_puk>'
  <pin_puk><pin_attempts>-1</pin_attempts><puk_attempts>-1</puk_attempts><pin_enabled>-1</pin_enabled></pin_puk>

A state file says that there is one. The second request asks the modem nothing.

  $ file /tmp/cellular_sim_status 0
  $ get pin_puk '<pin_puk><pin_attempts/><puk_attempts/><pin_enabled/></pin_puk>'
  + /usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo
  <15>tarrow: Get the format data of PINCNT:3,2,10,9\n
  + /usr/app/at_chat -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  <pin_puk><pin_attempts>3</pin_attempts><puk_attempts>10</puk_attempts><pin_enabled>0</pin_enabled></pin_puk>
  now /tmp/telephony/
  now /tmp/telephony/pin_attempts '3'
  now /tmp/telephony/pin_enabled '0'
  now /tmp/telephony/puk_attempts '10'
  $ get pin_puk '<pin_puk><pin_attempts/><puk_attempts/><pin_enabled/></pin_puk>'
  <pin_puk><pin_attempts>3</pin_attempts><puk_attempts>10</puk_attempts><pin_enabled>0</pin_enabled></pin_puk>

The PUK's attempts are read with those of the PIN, and only with them.

  $ file /tmp/telephony/mep_attempts 4
  $ get pin_puk '<pin_puk><puk_attempts/><mep_attempts/><cmd_status/></pin_puk>'
  <pin_puk><puk_attempts>-1</puk_attempts><mep_attempts>4</mep_attempts><cmd_status>0</cmd_status></pin_puk>

# What the modem does not answer is not known, and not kept

A number may have any length. Numbers are missing here, and the answer about the lock has another form.

  $ fresh
  $ file /tmp/cellular_sim_status 0
  $ when /usr/app/at_chat 'echo "*PINCNT:(0000000015,2"; echo "+CLCK 1"'
  $ get pin_puk '<pin_puk><x><pin_attempts/></x><puk_attempts/><pin_enabled/></pin_puk>'
  + /usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo
  <15>tarrow: Get the format data of PINCNT:15,2,-1,-1\n
  + /usr/app/at_chat -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  <pin_puk><x><pin_attempts>15</pin_attempts></x><puk_attempts>-1</puk_attempts><pin_enabled>-1</pin_enabled></pin_puk>
  now /tmp/telephony/
  now /tmp/telephony/pin_attempts '15'

# The PIN is changed, and its lock switched off and on

The modem's answer about the lock is kept in a file. Without a folder for it nothing is changed.

  $ fresh
  $ /sim/sim_card new
  $ /sim/sim_card set lock 1
  $ post pin_puk '<pin_puk><command>3</command><pin>1234</pin><new_pin>4321</new_pin></pin_puk>'
  + /usr/app/at_chat -i/dev/citty0 -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  sh: 1: cannot create /tmp/telephony/.tmpinfo: Directory nonexistent

With the folder, and while the lock is on, the PIN is changed.

  $ mkdir /tmp/telephony
  $ post pin_puk '<pin_puk><command>3</command><pin>1234</pin><new_pin>4321</new_pin></pin_puk>'
  + /usr/app/at_chat -i/dev/citty0 -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  <15>tarrow: Executing /usr/app/at_chat -i /dev/citty0 -c AT+CPWD="SC",1234,4321 | /xbin/grep "OK"\n
  + /usr/app/at_chat -i /dev/citty0 -c AT+CPWD="SC",1234,4321 | /xbin/grep "OK"
  OK\r (esc)
  + /usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo
  <15>tarrow: Get the format data of PINCNT:3,2,10,9\n
  now /tmp/telephony/pin_attempts '3'
  now /tmp/telephony/puk_attempts '10'

The lock is switched off.

  $ post pin_puk '<pin_puk><command>2</command><pin>4321</pin></pin_puk>'
  <15>tarrow: Executing /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",0,4321\n
  + /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",0,4321
  OK\r (esc)
  + /usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo
  <15>tarrow: Get the format data of PINCNT:3,2,10,9\n
  + /usr/app/at_chat -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  now /tmp/telephony/pin_enabled '0'

The modem changes a PIN only while its lock is on, so a lock that is off is on meanwhile.

  $ post pin_puk '<pin_puk><command>3</command><pin>4321</pin><new_pin>2468</new_pin></pin_puk>'
  + /usr/app/at_chat -i/dev/citty0 -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  <15>tarrow: Executing /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",1,4321 | /xbin/grep "OK"\n
  + /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",1,4321 | /xbin/grep "OK"
  OK\r (esc)
  <15>tarrow: Executing /usr/app/at_chat -i /dev/citty0 -c AT+CPWD="SC",4321,2468 | /xbin/grep "OK"\n
  + /usr/app/at_chat -i /dev/citty0 -c AT+CPWD="SC",4321,2468 | /xbin/grep "OK"
  OK\r (esc)
  + /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",0,2468 | /xbin/grep "OK"
  OK\r (esc)
  + /usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo
  <15>tarrow: Get the format data of PINCNT:3,2,10,9\n

A wrong PIN uses up the last attempt. The page says once that the change failed.

  $ /sim/sim_card set pin_left 1
  $ when /usr/app/agent_client
  $ post pin_puk '<pin_puk><command>3</command><pin>1111</pin><new_pin>2222</new_pin></pin_puk>'
  + /usr/app/at_chat -i/dev/citty0 -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  <15>tarrow: Executing /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",1,1111 | /xbin/grep "OK"\n
  + /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",1,1111 | /xbin/grep "OK"
  <15>tarrow: Executing /usr/app/at_chat -i /dev/citty0 -c AT+CPWD="SC",1111,2222 | /xbin/grep "OK"\n
  + /usr/app/at_chat -i /dev/citty0 -c AT+CPWD="SC",1111,2222 | /xbin/grep "OK"
  + /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",0,1111 | /xbin/grep "OK"
  + /usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo
  <15>tarrow: Get the format data of PINCNT:0,2,10,9\n
  + /usr/app/agent_client 0 /usr/app/check_sim_status.sh
  was /tmp/telephony/pin_attempts '3'
  now /tmp/telephony/pin_attempts '0'
  now /tmp/telephony/pin_puk_cmd_status '1'
  $ get pin_puk '<pin_puk><cmd_status/></pin_puk>'
  <pin_puk><cmd_status>1</cmd_status></pin_puk>
  was /tmp/telephony/pin_puk_cmd_status '1'

Without an attempt the lock is not switched on.

  $ post pin_puk '<pin_puk><command>1</command><pin>2468</pin></pin_puk>'
  <15>tarrow: Executing /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",1,2468\n
  + /usr/app/at_chat -i /dev/citty0 -c AT+CLCK="SC",1,2468
  +CME ERROR: 12\r (esc)
  + /usr/app/at_chat -c AT*PINCNT | /xbin/grep PINCNT > /tmp/telephony/.tmpinfo
  <15>tarrow: Get the format data of PINCNT:0,2,10,9\n
  + /usr/app/at_chat -c AT+CLCK="SC",2 | /xbin/grep CLCK > /tmp/telephony/.tmpinfo
  + /usr/app/agent_client 0 /usr/app/check_sim_status.sh

# The SIM is unblocked with the PUK

  $ fresh
  $ /sim/sim_card new
  $ /sim/sim_card set pin_left 0
  $ /sim/sim_card show
  $ file /tmp/unlock_sim
  $ file /tmp/telephony/pin_enabled 1
  $ post pin_puk '<pin_puk><command>4</command><puk>12345678</puk><new_pin>5555</new_pin></pin_puk>'
  + rm /tmp/unlock_sim
  + rm /tmp/telephony/pin_attempts
  + rm /tmp/telephony/puk_attempts
  + rm /tmp/telephony/pin_enabled
  + /usr/app/agent_client 0 /usr/app/check_sim_status.sh
  now /tmp/check_sim.txt '0'
  was /tmp/telephony/pin_attempts '0'
  was /tmp/telephony/pin_enabled '1'
  was /tmp/telephony/pin_status '2'
  now /tmp/telephony/pin_attempts '3'
  now /tmp/telephony/pin_status '0'
  was /tmp/unlock_sim ''
  now wan cellular.pin 
  now wan cellular.puk 

# The PIN is entered when the SIM check that runs has ended, and then the control key

  $ fresh
  $ /sim/sim_card new
  $ /sim/sim_card set open 0
  $ /sim/sim_card set mep 0
  $ /sim/sim_card show
  $ file /tmp/unlock_sim
  $ file /tmp/sim_checking_mutex
  $ meanwhile 1 'rm -f /tmp/sim_checking_mutex'
  $ post pin_puk '<pin_puk><command>5</command><pin>1234</pin></pin_puk>'
  wait 50 ms
  + rm /tmp/unlock_sim
  + /usr/app/agent_client 0 /usr/app/check_sim_status.sh
  wait 1000 ms
  was /tmp/sim_checking_mutex ''
  now /tmp/check_sim.txt '0'
  was /tmp/telephony/pin_status '1'
  now /tmp/telephony/pin_status '5'
  was /tmp/unlock_sim ''
  now wan cellular.pin 
  $ get pin_puk '<pin_puk><mep_attempts/></pin_puk>'
  + /usr/app/at_chat -c AT+CPINR | /xbin/grep "PH-NET PIN" | /xbin/cut -d "," -f2 | /xbin/cut -d " " -f2 > /tmp/telephony/.tmpinfo
  wait 200 ms
  console: mep_get_attempts cat: 0 mep_attempts: 5
  <pin_puk><mep_attempts>5</mep_attempts></pin_puk>
  $ post pin_puk '<pin_puk><command>6</command><mep_unlock_ck>00112233</mep_unlock_ck></pin_puk>'
  + /usr/app/agent_client 0 "/usr/app/check_sim_status.sh"
  was /tmp/telephony/mep_category '0'
  was /tmp/telephony/pin_status '5'
  now /tmp/telephony/pin_status '0'
  now wan cellular.mep_nck 

# Each network lock has attempts and a control key of its own

  $ fresh
  $ /sim/sim_card new
  $ file /tmp/telephony/pin_status 5
  $ when /usr/app/agent_client
  $ for category in 1 2 3 4; do
  >     file /tmp/telephony/mep_category $category
  >     get pin_puk '<pin_puk><mep_attempts/></pin_puk>' | grep '^<'
  >     post pin_puk "<pin_puk><command>6</command><mep_unlock_ck>${category}aZ</mep_unlock_ck></pin_puk>" | grep '^now'
  > done
  <pin_puk><mep_attempts>6</mep_attempts></pin_puk>
  now wan cellular.mep_nsck 1aZ
  <pin_puk><mep_attempts>7</mep_attempts></pin_puk>
  now wan cellular.mep_spck 2aZ
  <pin_puk><mep_attempts>8</mep_attempts></pin_puk>
  now wan cellular.mep_cck 3aZ
  <pin_puk><mep_attempts>9</mep_attempts></pin_puk>
  now wan cellular.mep_pck 4aZ

When the cellular connection is the WAN, it is started again instead of the SIM check. A key has at most 255 characters.

  $ setting wan proto cellular
  $ post pin_puk "<pin_puk><command>6</command><mep_unlock_ck>$(repeat 255 5)</mep_unlock_ck></pin_puk>"
  + /usr/app/agent_client 0 "/etc/init.d/wan_cellular_start.sh restart"
  was wan cellular.mep_pck 4aZ
  now wan cellular.mep_pck 555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555555

# No network lock, an unknown one, one whose key the SIM does not wait for, or no store

  $ fresh
  $ file /tmp/telephony/pin_status 5
  $ get pin_puk '<pin_puk><mep_attempts/></pin_puk>'
  console: mep_get_attempts open file fails
  <pin_puk><mep_attempts>-1</mep_attempts></pin_puk>
  $ file /tmp/telephony/mep_category 5
  $ get pin_puk '<pin_puk><mep_attempts/></pin_puk>'
  console: mep_get_attempts invalid mep category: 5
  <pin_puk><mep_attempts>-1</mep_attempts></pin_puk>
  $ post pin_puk '<pin_puk><command>6</command><mep_unlock_ck>1</mep_unlock_ck></pin_puk>'
  $ file /tmp/telephony/mep_category 0
  $ file /tmp/telephony/pin_status 1
  $ post pin_puk '<pin_puk><command>6</command><mep_unlock_ck>1</mep_unlock_ck></pin_puk>'

Without a store no code reaches the SIM.

  $ rm -r /userfs/cfgdb
  $ file /tmp/telephony/pin_status 5
  $ post pin_puk '<pin_puk><command>4</command><puk>1</puk><new_pin>2</new_pin></pin_puk>'
  $ post pin_puk '<pin_puk><command>5</command><pin>1</pin></pin_puk>'
  $ post pin_puk '<pin_puk><command>6</command><mep_unlock_ck>1</mep_unlock_ck></pin_puk>'

# No such operation, and codes that are none or too long

  $ fresh
  $ post pin_puk '<pin_puk><pin>1</pin></pin_puk>'
  post-set: -1
  $ post pin_puk '<pin_puk><command>7</command><pin>1</pin></pin_puk>'
  post-set: -1
  $ post pin_puk '<pin_puk><command>abc</command><pin>1</pin></pin_puk>'
  post-set: -1
  $ post pin_puk '<pin_puk><command>1</command></pin_puk>'
  post-set: -1
  $ post pin_puk '<pin_puk><command>1</command><pin>1 2</pin></pin_puk>'
  post-set: -1
  $ post pin_puk '<pin_puk><command>2</command><pin>12<b/>34</pin></pin_puk>'
  post-set: -1
  $ post pin_puk "<pin_puk><command>2</command><pin>$(repeat 205 1)</pin></pin_puk>"
  post-set: -1
  $ post pin_puk "<pin_puk><command>3</command><pin>1</pin><new_pin>'2</new_pin></pin_puk>"
  post-set: -1
  $ post pin_puk "<pin_puk><command>3</command><pin>$(repeat 100 1)</pin><new_pin>$(repeat 88 2)</new_pin></pin_puk>"
  post-set: -1
  $ post pin_puk "<pin_puk><command>4</command><puk>$(repeat 256 1)</puk><new_pin>2</new_pin></pin_puk>"
  post-set: -1
