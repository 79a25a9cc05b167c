# For interactive shells.
PS1='\u@\h:\w\$ '
if [ -e /run/stays ]; then
    ending='it stays up when you leave, until ./run down'
else
    ending='it ends when you leave'
fi
cat <<E_O_T
This is the simulated device; $ending.
  tarrow_host list | get MODULE | set MODULE KEY=VALUE   the settings modules
  cfgdb_cmd list                                         the settings store
  $(cd /sim && grep -ls '^# usage:' * | tr '\n' ' ')
                                                         change what is around the device; each has --help
  /var/log/messages, /var/log/console                    the system log, the serial console
E_O_T
unset ending
