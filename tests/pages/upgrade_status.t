The upgrade page: the progress of a firmware image that another process is writing.

# Progress is in whole percents, and one more

Only the first line of a counter counts.

  $ fresh
  $ file /tmp/total_bytes.txt '1000\n'
  $ file /tmp/wrote_bytes.txt '999\n1'
  $ get upgrade_status '<upgrade_status><x><progress/></x><progress/><y/></upgrade_status>'
  <upgrade_status><x><progress /></x><y /><progress>100</progress></upgrade_status>

# Nine characters of a counter count, and nine of the progress

  $ fresh
  $ file /tmp/total_bytes.txt 1000000009
  $ file /tmp/wrote_bytes.txt 500000009
  $ get upgrade_status '<upgrade_status><progress/></upgrade_status>'
  <upgrade_status><progress>501</progress></upgrade_status>
  $ file /tmp/total_bytes.txt 1
  $ file /tmp/wrote_bytes.txt 100000000
  $ get upgrade_status '<upgrade_status><progress/></upgrade_status>'
  <upgrade_status><progress>999999999</progress></upgrade_status>
  $ file /tmp/wrote_bytes.txt -10000000
  $ get upgrade_status '<upgrade_status><progress/></upgrade_status>'
  <upgrade_status><progress>-99999999</progress></upgrade_status>

# Without both counters no upgrade is going on, and of a total that is no number nothing is written

  $ fresh
  $ file /tmp/wrote_bytes.txt 5
  $ get upgrade_status '<upgrade_status><progress/></upgrade_status>'
  $ file /tmp/total_bytes.txt
  $ get upgrade_status '<upgrade_status><progress/></upgrade_status>'
  $ file /tmp/total_bytes.txt none
  $ get upgrade_status '<upgrade_status><progress/></upgrade_status>'
  <upgrade_status><progress>1</progress></upgrade_status>
