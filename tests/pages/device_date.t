The date page: the device's local date and time.

# The date is that of the device's zone

  $ fresh
  $ export CLOCK=1770000000
  $ export TZ=EST5EDT,M3.2.0,M11.1.0
  $ get device_date '<device_date><x><date/></x><date/><y/></device_date>'
  <device_date><x><date /></x><y /><date>Sun Feb 01 21:40:00 EST 2026</date></device_date>

# A clock that cannot be read ends the process, unless nobody asks for the date

  $ fresh
  $ export CLOCK=-1
  $ get device_date '<device_date><date/></device_date>'
  ends with status 1
  $ get device_date '<device_date><x><date/></x></device_date>'
