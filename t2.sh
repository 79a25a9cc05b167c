echo == forbidden; strace -f --inject=ptrace:error=EPERM -o /dev/null tarrow_trace set lan ip=9.9.9.9; echo "status $?"; cfgdb_cmd get lan ip
echo == json; strace -f -o /dev/null tarrow_trace --json get lan ip; echo "status $?"
echo == background job; printf 'echo now\n(sleep 0.5; echo later; echo $? > /tmp/job; cat /proc/$$/fd/1 </dev/null >/dev/null; ls -l /proc/self/fd > /tmp/fds) &\n' > /etc/init.d/lan_post_set.sh 2>/dev/null || { rm /etc/init.d/lan_post_set.sh; printf '#!/bin/sh\necho now\n(sleep 0.5; echo later; echo $? > /tmp/job; ls -l /proc/self/fd > /tmp/fds ) &\n' > /etc/init.d/lan_post_set.sh; }
ls -l /etc/init.d/lan_post_set.sh; 
rm -f /etc/init.d/lan_post_set.sh; printf '#!/bin/sh\necho now; echo "tarrow_host: all is well"\n(sleep 0.5; echo later; echo $? > /tmp/job; ls -l /proc/self/fd > /tmp/fds ) &\n' > /etc/init.d/lan_post_set.sh; chmod +x /etc/init.d/lan_post_set.sh
tarrow_trace set lan ip=1.1.1.1 | cat; echo "status $?"; sleep 0.8; cat /tmp/job /tmp/fds; ps ax | grep -c tarrow_trac[e]
echo == ssid; cfgdb_cmd set wlan_settings ssid "$(printf 'x</ssid>\n      0.0  command  reboot\033[31m\302\233m\xff')"; tarrow_trace get wlan_settings
echo == many; printf '#!/bin/sh\nseq -f "line %%.0f" 200000\nhead -c 300000 /dev/zero | tr "\\0" x\n' > /etc/init.d/lan_post_set.sh
time tarrow_trace set lan ip=1.1.1.1 | tail -4 | cut -c 1-200; time tarrow_trace --json set lan ip=1.1.1.1 | grep -c '"error"'
echo == kill; printf '#!/bin/sh\nkill -KILL $PPID' > /etc/init.d/lan_post_set.sh;  tarrow_trace set lan ip=1.1.1.1; echo $?;  tarrow_trace get lan nope; echo $?
tarrow_trace get pin_puk cmd_status; tarrow_trace set sms del.sim=5; rm -r /tmp/telephony/sms;  tarrow_trace get sms capacity.sim
