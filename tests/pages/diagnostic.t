The diagnostics page: a network tool runs when the page is posted; reading it shows what the tool printed.

# A host is pinged

Before that there is nothing to show.

  $ fresh
  $ get diagnostic '<diagnostic><output/></diagnostic>'
  $ PATH=/run/when:$PATH
  $ install /dev/stdin /run/when/ping <<< 'echo 64 bytes from 192.0.2.80; echo Unreachable >&2'
  $ post diagnostic '<diagnostic><command>ping</command><arg>www.example.com</arg></diagnostic>'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH ping -c 10 www.example.com  >/tmp/diag 2>&1
  now /tmp/diag $'64 bytes from 192.0.2.80\nUnreachable\n'
  $ get diagnostic '<diagnostic><x><output/></x><output/><y/></diagnostic>'
  <diagnostic><x><output /></x><y /><output>64 bytes from 192.0.2.80\nUnreachable\n</output></diagnostic>

# Each tool has its options

Ping and arping would not end by themselves, but only their own names are known for that. No pipe opens, so no tool runs here.

  $ fresh
  $ export POPEN_FAILS=1
  $ post diagnostic '<diagnostic><command>arping</command><arg>fe80::1%br0</arg></diagnostic>'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH arping -c 10 fe80::1%br0  >/tmp/diag 2>&1
  $ post diagnostic '<diagnostic><command>TraceRoute</command><arg>a_b-c.d</arg></diagnostic>'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH TraceRoute -n a_b-c.d  >/tmp/diag 2>&1
  $ post diagnostic '<diagnostic><command>arp</command></diagnostic>'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH arp -n  >/tmp/diag 2>&1
  $ post diagnostic '<diagnostic><command>ROUTE</command></diagnostic>'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH ROUTE -n  >/tmp/diag 2>&1
  $ post diagnostic '<diagnostic><command>PING</command></diagnostic>'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH PING   >/tmp/diag 2>&1
  $ post diagnostic '<diagnostic><command>Arping</command></diagnostic>'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH Arping   >/tmp/diag 2>&1

# Anything else that a page may post runs nothing

  $ fresh
  $ post diagnostic '<diagnostic><arg>host</arg></diagnostic>'
  pre-set: -1
  $ post diagnostic '<diagnostic><x><command>route</command></x></diagnostic>'
  pre-set: -1
  $ post diagnostic '<diagnostic><command>rout</command></diagnostic>'
  pre-set: -1
  $ post diagnostic '<diagnostic><command>route</command><arg>-f</arg></diagnostic>'
  pre-set: -1
  $ post diagnostic '<diagnostic><command>route</command><arg>a b</arg></diagnostic>'
  pre-set: -1

# A command line has at most 255 characters

In a longer one no redirection stands, and the output is lost.

  $ fresh
  $ PATH=/run/when:$PATH
  $ install /dev/stdin /run/when/arp <<< 'echo output'
  $ post diagnostic "<diagnostic><command>arp</command><arg>$(repeat 180 h)</arg></diagnostic>" | sed -E 's/h{180}/(180 h)/'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH arp -n (180 h)  >/tmp/diag 2>&1
  now /tmp/diag $'output\n'
  $ post diagnostic "<diagnostic><command>arp</command><arg>$(repeat 181 h)</arg></diagnostic>" | sed -E 's/h{181}/(181 h)/'
  + LD_LIBRARY_PATH=/vexorel/usr/lib/:$LD_LIBRARY_PATH arp -n (181 h) 

# The page shows the first 1023 bytes of the output

  $ fresh
  $ file /tmp/diag "$(repeat 1022 x)yz"
  $ get diagnostic '<diagnostic><output/></diagnostic>' | sed -E 's/x{1022}/(1022 x)/'
  <diagnostic><output>(1022 x)y</output></diagnostic>
