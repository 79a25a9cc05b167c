Modules with scripts only, such as "lan".

# A post brings both scripts a temporary file, which is empty

  $ fresh
  $ post lan '<lan><ip>192.168.1.1</ip></lan>'
  + /etc/init.d/lan_pre_set.sh set /tmp/tarrow.XXXXXX
  + /etc/init.d/lan_post_set.sh set /tmp/tarrow.XXXXXX
  now /tmp/tarrow.XXXXXX ''
