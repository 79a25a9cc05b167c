The contacts page: one entry of the SIM's phone book is written or deleted.

# An entry to delete has at most 59 characters, a contact 56

The quotes that the shell needs do not count. Of two contacts the first is written.

  $ fresh
  $ when /usr/app/at_chat
  $ post contacts "<contacts><deleted>1</deleted><sim_contacts_list><Item><record>$(repeat 59 1)</record></Item></sim_contacts_list></contacts>"
  + /usr/app/at_chat -c AT+CPBW=11111111111111111111111111111111111111111111111111111111111 > /dev/null
  + sync
  $ post contacts "<contacts><deleted>x</deleted><sim_contacts_list><Item><record>1</record><number>2</number><type>3</type><text>$(repeat 53 "'")</text></Item><Item><record>4</record></Item></sim_contacts_list></contacts>"
  + /usr/app/at_chat -c 'AT+CPBW=1,2,3,'\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\'''\''' > /dev/null
  + sync

One character more is refused.

  $ post contacts "<contacts><deleted>1</deleted><sim_contacts_list><Item><record>$(repeat 60 1)</record></Item></sim_contacts_list></contacts>"
  + sync
  post-set: -1
  $ post contacts "<contacts><deleted>0</deleted><sim_contacts_list><Item><record>1</record><number>2</number><type>3</type><text>$(repeat 54 4)</text></Item></sim_contacts_list></contacts>"
  + sync
  post-set: -1

# A contact that lacks something, or is more than a contact, is refused

The list is missing, a contact lacks its "deleted", its record, its type or its text.

  $ fresh
  $ post contacts '<contacts><deleted>1</deleted><record>3</record></contacts>'
  + sync
  post-set: -1
  $ post contacts '<contacts><sim_contacts_list><Item><record>3</record></Item></sim_contacts_list></contacts>'
  + sync
  post-set: -1
  $ post contacts '<contacts><deleted>1</deleted><sim_contacts_list><Item/><record>3</record></sim_contacts_list></contacts>'
  + sync
  post-set: -1
  $ post contacts '<contacts><deleted>0</deleted><sim_contacts_list><Item><record>3</record><number>1</number><text>"x"</text></Item></sim_contacts_list></contacts>'
  + sync
  post-set: -1
  $ post contacts '<contacts><deleted>0</deleted><sim_contacts_list><Item><record>3</record><number>1</number><type>1</type></Item></sim_contacts_list></contacts>'
  + sync
  post-set: -1

A value would end the modem's command, or begin another one.

  $ post contacts '<contacts><deleted>1</deleted><sim_contacts_list><Item><record>1;+CFUN</record></Item></sim_contacts_list></contacts>'
  + sync
  post-set: -1
  $ post contacts '<contacts><deleted>1</deleted><sim_contacts_list><Item><record>1&#10;</record></Item></sim_contacts_list></contacts>'
  + sync
  post-set: -1
  $ post contacts '<contacts><deleted>1</deleted><sim_contacts_list><Item><record>1&#127;</record></Item></sim_contacts_list></contacts>'
  + sync
  post-set: -1
  $ post contacts '<contacts><deleted>1</deleted><sim_contacts_list><Item><record>"1"2"</record></Item></sim_contacts_list></contacts>'
  + sync
  post-set: -1

Another number of "deleted" does nothing.

  $ post contacts '<contacts><deleted>2</deleted><sim_contacts_list><Item><record>3</record></Item></sim_contacts_list></contacts>'
  + sync
