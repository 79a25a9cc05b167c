The file-sharing page: who has the SD card, how it is shared over HTTP, and what is done with the files on it.

# The computer gets the card, and the device takes it back

  $ fresh
  $ file /tmp/tcard_block '\n /dev/block/mmcblk1p1 other\n'
  $ post http_share '<http_share><http_share_action>2</http_share_action><mode_set>usb</mode_set></http_share>'
  +  echo /dev/block/mmcblk1p1>/sys/devices/platform/usb_mass_storage/lun1/file
  was /sys/devices/platform/usb_mass_storage/lun1/file ''
  now /sys/devices/platform/usb_mass_storage/lun1/file $'/dev/block/mmcblk1p1\n'
  now http_share sdcard_mode_option 0
  $ post http_share '<http_share><http_share_action>2</http_share_action><mode_set>http_share_mode</mode_set></http_share>'
  + echo > /sys/devices/platform/usb_mass_storage/lun1/file
  + echo "http_share_remount" > /data/panelui/event
  now /data/panelui/event $'http_share_remount\n'
  was /sys/devices/platform/usb_mass_storage/lun1/file $'/dev/block/mmcblk1p1\n'
  now /sys/devices/platform/usb_mass_storage/lun1/file $'\n'
  was http_share sdcard_mode_option 0
  now http_share sdcard_mode_option 1

# The computer gets the default device when the named one has too many characters

Any mode but "http_share_mode" gives it the card.

  $ fresh
  $ file /tmp/tcard_block "$(repeat 30 d)"
  $ post http_share '<http_share><http_share_action>2</http_share_action><mode_set>http_share_mod</mode_set></http_share>'
  +  echo /dev/block/mmcblk0>/sys/devices/platform/usb_mass_storage/lun1/file
  was /sys/devices/platform/usb_mass_storage/lun1/file ''
  now /sys/devices/platform/usb_mass_storage/lun1/file $'/dev/block/mmcblk0\n'
  now http_share sdcard_mode_option 0

The whole line has at most 99 characters, those that quote the name among them.

  $ file /tmp/tcard_block "''$(repeat 23 d)'''"
  $ post http_share '<http_share><http_share_action>2</http_share_action><mode_set>usb</mode_set></http_share>'
  +  echo /dev/block/mmcblk0>/sys/devices/platform/usb_mass_storage/lun1/file

A name of 29 characters is used. One of digits stays apart from the redirection.

  $ file /tmp/tcard_block "$(repeat 2 0123456789)012345678"
  $ post http_share '<http_share><http_share_action>2</http_share_action><mode_set>usb</mode_set></http_share>'
  +  echo '01234567890123456789012345678'>/sys/devices/platform/usb_mass_storage/lun1/file
  was /sys/devices/platform/usb_mass_storage/lun1/file $'/dev/block/mmcblk0\n'
  now /sys/devices/platform/usb_mass_storage/lun1/file $'01234567890123456789012345678\n'

# A file is looked for by its path on the device

  $ fresh
  $ setting http_share sd_card_state 1
  $ post http_share '<http_share><http_share_action>3</http_share_action><x><path_SD_CARD>/mnt/external_sdcard</path_SD_CARD></x></http_share>'
  <http_share><http_share_action>3</http_share_action><x><path_SD_CARD>/mnt/external_sdcardexist</path_SD_CARD></x></http_share>

Without a card nothing is looked for.

  $ setting http_share sd_card_state 2
  $ post http_share '<http_share><http_share_action>3</http_share_action><path_SD_CARD>/mnt/external_sdcard</path_SD_CARD></http_share>'
  <http_share><http_share_action>3</http_share_action><path_SD_CARD>/mnt/external_sdcardno_sdcard</path_SD_CARD></http_share>

# The settings of sharing are stored as they are posted

  $ fresh
  $ post http_share '<http_share><http_share_action>4</http_share_action><HTTP_SHARE_STATUS>Enable</HTTP_SHARE_STATUS><HTTP_SHARE_WR_AUTH>Disable</HTTP_SHARE_WR_AUTH><HTTP_SHARE_FILE>/mmc2/my music</HTTP_SHARE_FILE></http_share>'
  now http_share HTTP_SHARE_FILE /mmc2/my music
  now http_share HTTP_SHARE_STATUS Enable
  now http_share HTTP_SHARE_WR_AUTH Disable

# The settings are shown wherever their elements stand, cut to their room

A number that is not stored is 0.

  $ fresh
  $ setting http_share sd_card_state 8
  $ setting http_share HTTP_SHARE_STATUS "$(repeat 16 s)"
  $ setting http_share HTTP_SHARE_WR_AUTH "$(repeat 16 w)"
  $ setting http_share HTTP_SHARE_FILE "$(repeat 64 f)"
  $ call http_share_post_get '<http_share><HTTP_SHARE_CARD_USRER/><x><HTTP_SHARE_FILE/><sd_card_state/></x><HTTP_SHARE_STATUS/><sdcard_mode_option/><HTTP_SHARE_WR_AUTH/></http_share>'
  console: begin<http_share><HTTP_SHARE_CARD_USRER></HTTP_SHARE_CARD_USRER><x><HTTP_SHARE_FILE>fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffff</HTTP_SHARE_FILE><sd_card_state>8</sd_card_state></x><HTTP_SHARE_STATUS>sssssssssssssss</HTTP_SHARE_STATUS><sdcard_mode_option>0</sdcard_mode_option><HTTP_SHARE_WR_AUTH>wwwwwwwwwwwwwww</HTTP_SHARE_WR_AUTH></http_share>

# Without the store nothing is done or shown

  $ fresh
  $ rm -r /userfs/cfgdb
  $ for action in 2 3 4; do
  >   post http_share "<http_share><http_share_action>$action</http_share_action><mode_set>usb</mode_set><path_SD_CARD>/tmp</path_SD_CARD><HTTP_SHARE_STATUS>Enable</HTTP_SHARE_STATUS><HTTP_SHARE_WR_AUTH>Enable</HTTP_SHARE_WR_AUTH><HTTP_SHARE_FILE>/mmc2</HTTP_SHARE_FILE></http_share>"
  > done
  post-set: -1
  post-set: -1
  post-set: -1
  $ call http_share_post_get '<http_share><sd_card_state/><HTTP_SHARE_STATUS/><HTTP_SHARE_CARD_USRER/></http_share>'

# A folder is made, renamed and deleted with all that is in it

  $ fresh
  $ post http_share '<http_share><http_share_action>9</http_share_action><path_SD_CARD>/mmc2/new</path_SD_CARD><path_SD_CARD_time>2026-01-02 03:04:05</path_SD_CARD_time></http_share>'
  + touch /tmp/dbg_new_1
  + touch -d "2026-01-02 03:04:05" /mnt/external_sdcard/new
  now /mnt/external_sdcard/new/
  now /tmp/dbg_new_1 ''
  $ stat -c '%a %y' /mnt/external_sdcard/new
  755 2026-01-02 03:04:05.000000000 +0000

When the folder is there already, it gets the time all the same.

  $ post http_share '<http_share><http_share_action>9</http_share_action><path_SD_CARD>/mmc2/new</path_SD_CARD><path_SD_CARD_time>2026-01-02 03:04 +01:00</path_SD_CARD_time></http_share>'
  + touch /tmp/dbg_new_1
  + touch -d "2026-01-02 03:04 +01:00" /mnt/external_sdcard/new
  post-set: -1

Renaming it leaves a trace.

  $ file /mnt/external_sdcard/new/song.mp3 'la\n'
  $ post http_share '<http_share><http_share_action>6</http_share_action><path_SD_CARD>not used</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/new</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/my music</NEW_NAME_SD_CARD><path_SD_CARD_time>2026-01-02 03:30</path_SD_CARD_time></http_share>'
  + echo /mnt/external_sdcard/new='/mnt/external_sdcard/my music' > /tmp/dbg1
  + touch -d "2026-01-02 03:30" '/mnt/external_sdcard/my music'
  was /mnt/external_sdcard/new/
  was /mnt/external_sdcard/new/song.mp3 $'la\n'
  now /mnt/external_sdcard/my music/
  now /mnt/external_sdcard/my music/song.mp3 $'la\n'
  now /tmp/dbg1 $'/mnt/external_sdcard/new=/mnt/external_sdcard/my music\n'
  $ file /mnt/external_sdcard/notes.txt 'buy milk\n'
  $ post http_share '<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><name_SD_CARD>my music*absent*notes.txt*</name_SD_CARD></http_share>'
  was /mnt/external_sdcard/my music/
  was /mnt/external_sdcard/my music/song.mp3 $'la\n'
  was /mnt/external_sdcard/notes.txt $'buy milk\n'

To enter a folder, nothing has to be done.

  $ post http_share '<http_share><http_share_action>5</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD></http_share>'

# Paths have limits

A folder is made when its posted path has at most 200 characters. The time has a character that no time has, so none is
set.

  $ fresh
  $ post http_share "<http_share><http_share_action>9</http_share_action><path_SD_CARD>/mmc2$(repeat 95 /.)/five</path_SD_CARD><path_SD_CARD_time>2026=</path_SD_CARD_time></http_share>"
  + touch /tmp/dbg_new_1
  now /mnt/external_sdcard/five/
  now /tmp/dbg_new_1 ''
  $ post http_share "<http_share><http_share_action>9</http_share_action><path_SD_CARD>/mmc2$(repeat 95 /.)/sixth</path_SD_CARD><path_SD_CARD_time>2026=</path_SD_CARD_time></http_share>"
  + touch /tmp/dbg_new_1
  post-set: -1

An entry is deleted when its path on the device has at most 511 characters.

  $ file /mnt/external_sdcard/a-name.txt
  $ file /mnt/external_sdcard/other-name
  $ post http_share "<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2$(repeat 240 /.)</path_SD_CARD><name_SD_CARD>a-name.txt*other-name1*</name_SD_CARD></http_share>"
  post-set: -1
  $ post http_share "<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2$(repeat 240 /.)</path_SD_CARD><name_SD_CARD>a-name.txt*other-name*</name_SD_CARD></http_share>"
  was /mnt/external_sdcard/a-name.txt ''
  was /mnt/external_sdcard/other-name ''

Both paths of a renaming fit its trace, a line of at most 1023 characters.

  $ file /mnt/external_sdcard/ab
  $ post http_share "<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2$(repeat 240 /.)/ab</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2$(repeat 240 /.)/cd</NEW_NAME_SD_CARD><path_SD_CARD_time>2026=</path_SD_CARD_time></http_share>" | sed -n 1p | cut -c -28
  post-set: -1
  $ post http_share "<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2$(repeat 240 /.)/ab</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2$(repeat 240 /.)/c</NEW_NAME_SD_CARD><path_SD_CARD_time>2026=</path_SD_CARD_time></http_share>" | sed -n 1p | cut -c -28
  + echo /mnt/external_sdcard/

# A link is renamed or deleted, and what it names stays as it is

  $ fresh
  $ file /tmp/target/file kept
  $ ln -s /tmp/target "/mnt/external_sdcard/it's"
  $ mkdir /mnt/external_sdcard/folder
  $ ln -s /tmp/target /mnt/external_sdcard/folder/link
  $ post http_share "<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/it's</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/link.</NEW_NAME_SD_CARD><path_SD_CARD_time>2026</path_SD_CARD_time></http_share>"
  + echo '/mnt/external_sdcard/it'\''s'=/mnt/external_sdcard/link. > /tmp/dbg1
  was /mnt/external_sdcard/it's -> /tmp/target
  now /mnt/external_sdcard/link. -> /tmp/target
  now /tmp/dbg1 $'/mnt/external_sdcard/it\'s=/mnt/external_sdcard/link.\n'
  $ post http_share '<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2/.</path_SD_CARD><name_SD_CARD>folder*link.*</name_SD_CARD></http_share>'
  was /mnt/external_sdcard/folder/
  was /mnt/external_sdcard/folder/link -> /tmp/target
  was /mnt/external_sdcard/link. -> /tmp/target

# Paths that leave the card or go through a link are refused

The card itself is not renamed.

  $ fresh
  $ file /mnt/external_sdcard/folder/file
  $ ln -s /tmp /mnt/external_sdcard/folder/link
  $ for path in /mmc /mmc2x /mmc2 /mmc2/. /mmc2//folder//..//folder /mmc2/folder/link/; do
  >   echo "$path: $(post http_share "<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><OLD_NAME_SD_CARD>$path</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/new</NEW_NAME_SD_CARD><path_SD_CARD_time>2026</path_SD_CARD_time></http_share>")"
  > done
  /mmc: post-set: -1
  /mmc2x: post-set: -1
  /mmc2: post-set: -1
  /mmc2/.: post-set: -1
  /mmc2//folder//..//folder: post-set: -1
  /mmc2/folder/link/: post-set: -1
  $ post http_share '<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/folder</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/../new</NEW_NAME_SD_CARD><path_SD_CARD_time>2026</path_SD_CARD_time></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/folder</OLD_NAME_SD_CARD><NEW_NAME_SD_CARD>/mmc2/folder/link/new</NEW_NAME_SD_CARD><path_SD_CARD_time>2026</path_SD_CARD_time></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2/..</path_SD_CARD><name_SD_CARD>tmp*</name_SD_CARD></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2/folder/link</path_SD_CARD><name_SD_CARD>file*</name_SD_CARD></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>9</http_share_action><path_SD_CARD>/mmc2/folder/link/new</path_SD_CARD><path_SD_CARD_time>2026</path_SD_CARD_time></http_share>'
  + touch /tmp/dbg_new_1
  post-set: -1
  now /tmp/dbg_new_1 ''

# Nothing is deleted when one name is refused

Each name ends with a "*", has 1 to 255 characters, and is the name of an entry.

  $ fresh
  $ mkdir /mnt/external_sdcard/a
  $ file /mnt/external_sdcard/folder/file
  $ for names in 'a*b' 'a**' 'a*.*' 'a*..*' 'a*folder/file*' "a*$(repeat 256 n)*"; do
  >   echo "$names: $(post http_share "<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><name_SD_CARD>$names</name_SD_CARD></http_share>")"
  > done
  a*b: post-set: -1
  a**: post-set: -1
  a*.*: post-set: -1
  a*..*: post-set: -1
  a*folder/file*: post-set: -1
  a*nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn*: post-set: -1
  $ post http_share "<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><name_SD_CARD>a*...*$(repeat 255 n)*</name_SD_CARD></http_share>"
  was /mnt/external_sdcard/a/

# A post without an action, or without an element that its action needs, is refused

  $ fresh
  $ post http_share '<http_share><mode_set>usb</mode_set></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>7</http_share_action></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>4</http_share_action><HTTP_SHARE_STATUS>Enable</HTTP_SHARE_STATUS><HTTP_SHARE_FILE>/mmc2</HTTP_SHARE_FILE></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><NEW_NAME_SD_CARD>/mmc2/new</NEW_NAME_SD_CARD><path_SD_CARD_time>2026</path_SD_CARD_time></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>6</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><OLD_NAME_SD_CARD>/mmc2/old</OLD_NAME_SD_CARD><path_SD_CARD_time>2026</path_SD_CARD_time></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>8</http_share_action><path_SD_CARD>/mmc2</path_SD_CARD><name_SD_CARD/></http_share>'
  post-set: -1
  $ post http_share '<http_share><http_share_action>9</http_share_action><path_SD_CARD>/mmc2/new</path_SD_CARD></http_share>'
  + touch /tmp/dbg_new_1
  post-set: -1
  now /tmp/dbg_new_1 ''
