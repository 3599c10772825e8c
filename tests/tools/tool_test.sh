#!/usr/bin/env bash
# The tool as its users type it: tool_test.sh CASE, with $FCX_TOOL the command that runs it.
set -u
read -r -a tool <<<"$FCX_TOOL"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export FCX_PHONE=$work/phone HOME=$work
failures=0
state= # what a loop has prepared

fcx() { "${tool[@]}" "$@"; }

to_full_disk() { "$@" >/dev/full; }

# in_little_memory KIBIBYTES WORD...: the tool with so much address space.
in_little_memory() { (ulimit -v "$1" && shift && exec "${tool[@]}" "$@"); }

# expect STATUS PATTERN COMMAND...: the exit status, and an extended regular expression in the output.
expect() {
  local status=$1 pattern=$2
  shift 2
  output=$("$@" 2>&1)
  local got=$?
  if [ "$got" -ne "$status" ] || ! grep -qE -- "$pattern" <<<"$output"; then
    printf 'FAILED: %s%s\n  status %s, expected %s; output, expected /%s/:\n%s\n' \
      "$*" "${state:+ (after: $state)}" "$got" "$status" "$pattern" "$output"
    failures=$((failures + 1))
  fi
}

# also PATTERN...: what the last command said besides.
also() {
  local pattern
  for pattern; do expect 0 "$pattern" cat <<<"$output"; done
}

case $1 in
exchange)
  expect 0 'profile single' fcx init --profile single
  expect 0 '"data": "QV2006A00123"' fcx send get_serial_number --json
  expect 0 '^result +0$' fcx send 4018 123456789012345
  expect 0 '^data +123456789012345$' fcx send 4018
  expect 3 'opcode 4999 is unknown' fcx send 4999
  expect 0 '^result +0$' fcx send 4999 --raw
  expect 3 '^result +1$' fcx send 3170 fast --raw
  expect 3 '"known": false' fcx --json send 4999
  expect 0 '^value +3$' fcx item set 2 hex:03
  expect 0 ' I Diag_Lib: service_handler: opcode = 4018$' fcx log
  expect 0 '^result +0$' fcx send set_teal_ime --hex 02
  expect 0 '^data +hex:02$' fcx send get_teal_ime
  expect 0 '^result +0$' fcx send set_teal_ime hex:01
  expect 0 '^data +hex:01$' fcx send get_teal_ime
  expect 0 '^result +0$' fcx send set_csn --text hex:0
  expect 0 '^data +hex:0$' fcx send get_csn
  fcx send set_teal_ime hex:02 >/dev/null
  expect 0 '"data_hex": "02"' fcx send get_teal_ime --json
  expect 3 '^result +1$' fcx send 3170 fast
  expect 0 'get_csn, set_csn' fcx commands
  expect 0 'rpc_threadpool: 5 threads' fcx send 4056

  # Examples are run on phones of their own: the CSN is the one that was written to them.
  expect 0 '^  fcx send 4018 123456789012345$' fcx commands set_csn
  also '^4018 get_csn, set_csn$' '^  result +1: the item' 'data_len 13, data 006QVCS000456$'
  expect 0 '"typed": "fcx send 3201 --hex 02"' fcx commands 3201 --json
  also '"1": "another byte' '"answer": null' '"result": 0'
  expect 0 '^4409 get_midauto_crc$' fcx commands handle_get_midauto_crc
  also '^4412 get_midauto_crc$' 'result +-1: the item'
  expect 0 '^4230 get_saat_result$' fcx commands CALIB
  also '^4215 ' '^4232 ' "fcx send 4230 '.FRONT_TOF_CHECK.'$"
  ;;
at)
  fcx init >/dev/null
  expect 0 '^BLUETOOTH ADDRESS WRITE OK$' fcx at ' at%btad=0a1b2c3d4e5f '
  expect 0 '^%FCX: 0,0A1B2C3D4E5F$' fcx at 'AT%FCX=4066'
  expect 3 'fcx log` shows' fcx at 'AT%WLAD=1234567890'
  also '^ERROR$'
  expect 0 '"result": "OK"' fcx at 'AT%WLAD?' --json
  also '"line": "AT%WLAD\?"' '^    "02FC0A123457"$'
  expect 3 '"answer": \[\],' fcx at 'AT%NONE' --json
  expect 2 'no AT line: it does not begin with AT$' fcx at BTAD
  expect 2 'the AT line is empty$' fcx at ' '
  expect 2 'no AT line: it is more than one$' fcx at $'AT\rAT'
  ;;
usage)
  expect 0 'Exit status' fcx --help
  expect 0 'Exit status' fcx help
  expect 0 'fcx item get serial_number' fcx help item get
  expect 0 '"help": "List the factory commands' fcx help commands --json
  expect 0 '"help": "List the factory commands' fcx commands --help --json
  expect 0 'Exit status' fcx
  expect 0 '"help": "fcx: factory' fcx --json
  expect 0 '^[0-9.]+$' fcx -V
  expect 2 'no command is called "clear". There are list, get, set. `fcx item --help`' fcx help item clear
  expect 2 'FCX_CLOCK is' env FCX_CLOCK=slow "${tool[@]}" --version
  expect 0 '^[0-9.]+$' env FCX_CLOCK= "${tool[@]}" --version
  # Every command has an example.
  commands() { fcx help "$@" | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p'; }
  for group in $(commands); do
    expect 0 "^Examples?:|^  fcx $group" fcx help "$group"
    for verb in $(commands "$group"); do expect 0 "^Examples?:|^  fcx $group $verb" fcx help "$group" "$verb"; done
  done
  # What is typed wrongly: it is said in the order in which it was typed, and with --json as an object only.
  while IFS='|' read -r state said; do
    eval "words=($state)"
    expect 2 "^fcx: $said" fcx "${words[@]}"
    case $state in *--help*) continue ;; esac
    expect 0 '^2 message exit_status$' /usr/bin/python3 -c 'import json, sys
error = json.loads(sys.stdin.read())["error"]
print(error["exit_status"], *error)' <<<"$(fcx --json "${words[@]}" 2>&1)"
  done <<'END'
sned 4010|no command is called "sned". Near it: send. `fcx --help` lists all of them.$
send 4018 a b "" c|`fcx send` takes no more words, and not "b", "", "c". `fcx send --help` tells more.$
sim remove insert 8901410000000000001|`fcx sim remove` takes no more words, and not "insert", "89
init --porfile x|no option of `fcx init` is called "--porfile". Near it: --profile. `fcx init --help` lists
init -force|no option of `fcx init` is called "-force". Near it: --force. `
init --xx=1|no option of `fcx init` is called "--xx". `fcx init --help` lists all of them.$
log --JSON|no option of `fcx log` is called "--JSON". Near it: --json. `
send 4018 -X1|no option of `fcx send` is called "-X1". A word that begins with a dash stands after --. `
item list --ful|no option of `fcx item list` is called "--ful". Near it: --full. `
-n 5 log|-n belongs after `fcx log`$
init --force=x|a flag takes no value. .*--force
log -n|--lines needs a value after it$
log -n 1 -n 2|--lines is given twice$
item set|`fcx item set` needs words after it: item value. `fcx item set --help` tells more.$
item set 9|`fcx item set` needs words after it: value. `
item|`fcx item` needs a command after it: list, get, set. `fcx item --help` tells more.$
fault|`fcx fault` needs a command after it: item, .*, list, clear. `
sim eject|no command is called "eject". Near it: remove. `fcx sim --help`
read_imei|"read_imei" is a factory command: `fcx send read_imei` sends it$
-v|no option of `fcx` is called "-v". Near it: -V. `
help help x|`fcx help` has no command after it, and no "x"$
fault file /a fail eacces|no error is called "eacces". Near it: EACCES. `
modem nv 1 faling|.* inactive, failing or none, not "faling"$
log --since "02-30 12:00"|--since is a time as 
usb unplug|no command is called "unplug". Near it: disconnect. `
fault add item 9|no command is called "add". There are item, .*, clear. `fcx fault --help`
item clear|no command is called "clear". There are list, get, set. `
SEND 4010|no command is called "SEND". Near it: send. `
se 4010|no command is called "se". `fcx
send imei|no command is called "imei". Near it: read_imei, write_imei, automid_imei. `fcx commands`
send READ_IMEI|no command is called "READ_IMEI". Near it: read_imei, 
item get SERIAL_NUMBER|no item is called "SERIAL_NUMBER". Near it: serial_number
send ""|the command is empty, and an empty argument never stands for none$
send set_csn ""|the argument is empty, and
send set_csn --text ""|--text is empty, and
send set_csn --hex ""|--hex is empty, and
send set_csn --hex " "|there are no bytes after --hex$
send set_csn hex:|there are no bytes after hex:$
--phone "" init --force|--phone is empty, and
--phone= init --force|--phone is empty, and
init --profile "" --force|--profile is empty, and
item get ""|the item is empty, and
item list ""|the word is empty, and
prop get ""|the name is empty, and
modem set meid ""|.*1 to 
sim insert ""|the iccid is empty, and
log --tag ""|--tag is empty, and
events -n ""|-n,--lines is empty, and
fault clear ""|the id is empty, and
commands ""|the word is empty, and
""|no command is called "". `fcx --help`
END
  state=
  expect 1 'Set FCX_PHONE' env -u FCX_PHONE -u HOME -u XDG_STATE_HOME "${tool[@]}" log
  expect 1 'could not be written' to_full_disk fcx commands
  fcx init >/dev/null
  expect 2 'Near it: get_serial_number' fcx send get_seril_number
  expect 2 '4410  read the second' fcx send get_midauto_crc
  expect 2 'no command has the opcode 4999. `fcx commands` lists' fcx commands 4999
  expect 2 'called "get_seril_number". Near it: get_serial_number' fcx commands get_seril_number
  expect 2 'prints a whole page' fcx commands 4018 --markdown
  expect 1 'could not be written' to_full_disk fcx commands 4018
  expect 2 "'g' is no hexadecimal digit" fcx send 3201 --hex 0g
  expect 2 'odd number' fcx send 3201 --hex 012
  expect 2 'no bytes after hex:$' fcx item set 9 hex:
  expect 2 '"\\x1b\[2J"' fcx $'\e[2J'
  expect 2 'at most 2047' fcx send 4018 "$(printf '%02048d' 0)"
  expect 0 'data_len' fcx send 4018 "$(printf '%02047d' 0)"
  expect 2 'not two of them' fcx send 4018 a --hex 61
  expect 2 'not two of them' fcx send 4018 --text a --hex 61
  expect 2 'more than 32 bits' fcx send 99999999999
  expect 2 '4294 read_imei takes no text' fcx send 4294 490154203237518
  expect 2 '0 to 255' fcx item set 2 256
  expect 2 'holds 12$' fcx item set serial_number 1234567890123
  expect 2 'no item is called' fcx item get serial_nummer
  expect 2 'items are 0 to 4095' fcx item set 4096 x
  expect 2 'no negative' fcx log -n -1
  expect 2 'needs a number' fcx fault item 9 late
  expect 2 'Near it: read_imei' fcx fault request read_ime refuse
  expect 2 'is no fault of requests: fail, late, refuse' fcx fault request 117 absent
  expect 2 'is called "--on"' fcx fault request 117 refuse --on read
  expect 2 'check digit is 8, not 1' fcx modem set imei1 490154203237511
  expect 2 'Near it: imei1, imei2, imei3' fcx modem set imei 490154203237518
  expect 2 'NV items are 0 to 65535' fcx modem nv 65536
  expect 2 '1 to 128 bytes, not 129' fcx modem nv 1 "$(printf '%0258d' 0)"
  expect 2 'give the bytes' fcx modem nv 1 active
  expect 2 'an ICCID has 18 to 20 digits' fcx sim insert 89014100000000000
  expect 2 'in double quotes' fcx ntcode set 310410
  expect 2 'one digit or two' fcx ntcode set '"100","310,410,FFFFFFFF,FFFFFFFF,FF"'
  expect 2 'announces 2 entries, and has 1' fcx ntcode set '"2","310,410,FFFFFFFF,FFFFFFFF,FF"'
  expect 2 'entry 1 .* 4 fields' fcx ntcode set '"1","310,410,FFFFFFFF,FF"'
  expect 2 'entry 2 .* empty field' fcx ntcode set '"2","1,2,3,4,5","1,2,,4,5"'
  expect 2 'at most 2048 bytes, not 2049' fcx ntcode set --any "$(printf '%02049d' 0)"
  expect 2 'no profile "triple". Profiles: single, open, mtk, overlay, blank' fcx init --profile triple --force
  ;;
phone)
  expect 1 'Make one with `fcx init`' fcx send 4010
  expect 0 'made a phone' fcx init
  expect 1 'fcx init --force' fcx init
  expect 0 'profile blank' fcx init --profile blank --force
  expect 0 '^data +0$' fcx --phone "$FCX_PHONE" send 4010
  expect 1 'no phone in /nonexistent' fcx send 4010 --phone /nonexistent

  # place COMMANDS: what they leave where a phone is to be made, and beside it.
  place() {
    rm -rf "$work"/phone "$work"/.phone.*
    state=$1
    (cd "$work" && eval "$1" >/dev/null)
  }
  for begun in 'mkdir phone; : >phone/phone.db' 'fcx init; rm phone/phone.db*' \
    'fcx init; : >phone/phone.db' 'fcx init; truncate -s 99 phone/phone.db' \
    'fcx init; truncate -s 3000 phone/phone.db' 'fcx init; head -c 9000 /dev/zero >phone/phone.db' \
    'fcx init; cp -r phone .phone.new-old' 'fcx init; mv phone .phone.new-old; mkdir -p .phone.new/root'; do
    place "$begun"
    expect 1 'fcx init --force` replaces it' fcx init
    case $begun in *-old*) expect 0 QV2006A00123 fcx send 4010 ;; esac
    expect 0 'profile blank' fcx init --profile blank --force
    expect 0 '^$' find "$work" -maxdepth 1 -name '.phone.*'
  done
  for foreign in 'mkdir -p phone/root phone/log' 'mkdir -p phone/root; echo kept >phone/phone.db' 'mkdir phone; echo kept >phone/phone.db' 'mkdir -p phone/phone.db/root' \
    'fcx init; echo kept >phone/thesis' 'fcx init; echo kept >phone/efs-golden' 'echo kept >phone' \
    'ln -s nowhere phone' 'mkdir .phone.new; echo kept >.phone.new/thesis'; do
    place "$foreign"
    before=$(find "$work" -printf '%p %s %l\n')
    expect 1 'left alone' fcx init --force
    expect 0 '^$' test "$before" = "$(find "$work" -printf '%p %s %l\n')"
  done
  ;;
state)
  fcx init >/dev/null
  expect 0 '^item +9$' fcx item set 9 QV2006A00999
  expect 0 'QV2006A00999' fcx item get serial_number
  expect 0 '\*{8}0999' fcx item list
  also '^231 +- .* hex:4352534801000000e70*[.]{3}$' # of 2048 bytes
  expect 0 'QV2006A00999' fcx item list --full
  expect 0 '"value": "\*+0999"' fcx item list --json
  fcx prop set vendor.a 1
  expect 0 'restarted' fcx reboot
  expect 1 '"message": "vendor.a is not set",$' fcx prop get vendor.a --json
  expect 1 '^fcx: vendor.a is not set$' fcx prop get vendor.a
  fcx prop set vendor.a ''
  expect 1 '^fcx: vendor.a is empty, which is as if it were not set$' fcx prop get vendor.a
  expect 0 '^\[vendor.a\]: \[\]$' fcx prop list VENDOR.A
  expect 0 '^1$' sh -c '"$@" | wc -l' - "${tool[@]}" prop list USERDEB
  expect 1 '^fcx: no property has "nowhere" to it$' fcx prop list nowhere
  expect 0 '^13 +imei ' fcx item list MEI_FTM
  expect 0 '^2$' sh -c '"$@" | wc -l' - "${tool[@]}" item list 9
  expect 0 '^13 +imei ' fcx item list 'THE imei'
  expect 1 '"message": "no item has .*nowhere.* to it"' fcx item list nowhere --json
  fcx item set 9 '' >/dev/null
  expect 0 '^value +$' fcx item get 9
  fcx item set 9 QV2006A00999 >/dev/null
  expect 2 'is no property name' fcx prop get 'a b'
  expect 0 '\[ro.build.type\]: \[userdebug\]' fcx prop list
  expect 0 'restart +by hand' fcx events
  fcx reboot again >/dev/null
  expect 0 '^2 .*restart +again$' fcx events -n 1
  expect 1 '^$' grep 'by hand' - <<<"$output"

  log=$FCX_PHONE/log/system.log
  yes '06-01 00:00:00.000     1     1 I Tag     : a line' | head -n 200000 >"$log"
  fcx send 4010 >/dev/null
  expect 0 '^2$' sh -c "\"\$@\" | wc -l" - "${tool[@]}" log -n 2
  expect 0 'a line$' fcx log -n 3
  if in_little_memory 120000 --version >/dev/null 2>&1; then
    # In the larger one what clears away the object finds none.
    for kibibytes in 120000 170000; do
      expect 1 '"message": "out of memory"' in_little_memory "$kibibytes" log --json
    done
  fi

  # Lines of a year ago, of today's first minute, and one in a form of its own.
  rm "$log".*
  today=$(date +%m-%d)
  while read -r date time rest; do
    printf '%s %s     1     1 %s\n' "$date" "$time" "$rest"
  done >"$log" <<END
$(date -d '40 days' +%m-%d) 12:00:00.000 E Fcx     : last year
$today 00:00:01.000 V Fcx     : alpha
$today 00:00:05.500 D Fcx     : Beta one
$today 00:00:06.000 I Diag_Lib: beta: two
$today 00:00:59.999 W Fcx     : gamma
$today 00:01:00.000 F Fcx     : delta
END
  echo 'another form' >>"$log"
  while IFS='|' read -r state messages; do
    eval "words=($state)"
    got=$(fcx log "${words[@]}" 2>&1 | sed 's/.*: //' | tr '\n' ',')
    expect 0 "^$messages\$" cat <<<"$got"
  done <<END
|last year,alpha,Beta one,two,gamma,delta,another form,
-n 2|delta,another form,
-n 0|
--tag Fcx -n 2|gamma,delta,
--tag fcx|
--priority w|last year,gamma,delta,
--priority Fatal|delta,
--priority V --text BETA|Beta one,two,
--text 'beta: T' --tag Diag_Lib|two,
--since 00:00:05.500 --until 00:00:06|Beta one,two,
--since 00:00:05.501 --until 00:00:59|two,gamma,
--since 00:00:59.999 --until 00:00:59.999|gamma,
--until 00:00|last year,alpha,Beta one,two,gamma,
--since '$today 00:01'|delta,
--since 2d --priority E|delta,
--since 300d --priority E --tag Fcx|delta,
--since 400d --priority E|last year,delta,
--until 2d|last year,
--since 24:00|--since is a time as 12.*
--until '13-01 00:00'|--until is a time as 12.*
--since 5|--since is a time as 12.*
--priority X|--priority is one of V .verbose.*
END
  state=
  expect 0 '"message": "beta: two"' fcx log --json --text two
  also '"tag": "Diag_Lib"' '"priority": "I"' '"pid": 1,'
  expect 0 '"message": "another form"' fcx log --json -n 1
  "${tool[@]}" log --follow --text BETA -n 1 >"$work/followed" &
  printed() { for ((i = 0; i < 1500; i++)); do grep -q "$1" "$work/followed" && return || sleep 0.02; done; }
  printed two
  printf '%s 00:02:00.000     1     1 I Fcx     : %s\n' "$today" gamma "$today" beta >>"$log"
  printed 'beta$'
  kill $!
  wait $! 2>/dev/null
  expect 0 '^2$' sh -c 'wc -l <"$1"' - "$work/followed"

  for profile in single open mtk overlay blank; do
    fcx init --profile "$profile" --force >/dev/null
    expect 0 "^Nothing differs from a fresh phone of the profile $profile.\$" fcx status
    also "^profile   $profile\$" "^phone     $FCX_PHONE\$" '^version   [0-9]+, of fcx [0-9.]+$' '^state     on$' '^no fault is set$'
  done
  fcx init --force >/dev/null
  fcx fault item 9 fail >/dev/null
  fcx item set 9 QV2006A00999 >/dev/null
  fcx item set 3000 hex:ff00 >/dev/null
  fcx prop set persist.vendor.qve.iccid 8901410000000000009
  fcx modem set imei1 490154203237526 >/dev/null
  fcx modem clear meid >/dev/null
  fcx modem nv 453 failing >/dev/null
  fcx sim remove >/dev/null
  fcx sim delay 3 >/dev/null
  fcx card insert >/dev/null
  echo changed >"$FCX_PHONE/root/proc/meminfo"
  rm "$FCX_PHONE/efs/qv/factory/rf_cal_date"
  ln -s nowhere "$FCX_PHONE/overlay/link"
  expect 0 '^1 +item +9 +any +fail -1' fcx status
  also '^item +9 serial_number +\*{8}0123 +\*{8}0999$' '^item +3000 +- +hex:ff$' \
    '^property +persist.vendor.qve.iccid +- +\*{15}0009$' '^modem +imei1 +\*{11}7518 +\*{11}7526$' \
    '^modem +meid +\*{10}5678 +-$' '^nv +453 +00000000 +failing$' '^sim +delay +0 +3$' '^sim +iccid +\*{15}0001 +-$' \
    '^sim +state +inserted +absent$' '^card +state +removed +inserted$' '^file +/proc/meminfo +[0-9]+ bytes, .* 8 bytes' \
    '^file +efs:/qv/factory/rf_cal_date +8 bytes, [0-9a-f]+ +-$' '^file +overlay:/link +- +link to nowhere$'
  expect 0 'QV2006A00123 +QV2006A00999$' fcx status --full
  fcx reboot >/dev/null
  expect 0 '"last_end": "restart: by hand"' fcx status --json
  also '"part": "card"' '"now": "\*{8}0999"' '"effect": "fail"'
  for state in 'item list imei' modem sim status boot; do
    [ "$state" != sim ] || fcx sim insert 8901410000000000001 >/dev/null
    expect 0 '"masked": true' fcx $state --json
    fcx $state --json --full >"$work/whole"
    expect 1 '^$' grep masked "$work/whole"
  done
  state=
  /usr/bin/python3 -c '
import sqlite3, sys
with sqlite3.connect(sys.argv[1]) as phone: phone.execute("UPDATE phone SET value = ? WHERE key = ?", ("gone", "profile"))' \
    "$FCX_PHONE/phone.db"
  expect 0 '^Nobody knows that profile' fcx status
  expect 0 '"differences": null' fcx status --json
  ;;
faults)
  fcx init >/dev/null
  expect 0 'item +9 +any +fail -1 +1 +1$' fcx fault item serial_number fail --times 1
  expect 3 'item 9 cannot be read' fcx send 4010
  fcx fault item serial_number fail --times 1 >/dev/null
  expect 3 '^    "Diag_Lib: .*item 9 cannot be read"$' fcx send 4010 --json
  expect 0 '^True$' /usr/bin/python3 -c 'import json, sys; print(len(json.loads(sys.stdin.read())["complaints"]) > 0)' <<<"$output"
  expect 0 'persist-qv/startday/date +write +fail ENOSPC +1 +until cleared' \
    fcx fault file /mnt/vendor//persist-qv/./startday/date fail ENOSPC --on write
  expect 0 '^data +ERROR$' fcx send 4295 '2020/06/01 09:30:00'
  expect 0 '"value": 28' fcx fault list --json
  expect 1 'no fault 99' fcx fault clear 99
  expect 0 'no fault is set' fcx fault clear
  expect 0 'item +9 +read +fail -1 +2 +1$' fcx fault item 9 fail --on read --after 2 --times 1
  expect 0 '/mnt +syncdir +fail EIO' fcx fault file /mnt fail --on syncdir
  expect 2 'one of open, read, write, sync, syncdir, rename, remove, stat, chmod, chown, mkdir, seek, close, ioctl, mmap, not "link"' \
    fcx fault file /mnt fail --on link
  expect 0 'access only: read, write; on any' fcx fault item --help

  expect 2 'fcx fault command` takes one.*fcx fault request` takes' fcx fault opcode read_imei fail --times 1
  expect 2 '4415 is the opcode of the command' fcx fault request 4415 fail
  expect 2 '4010 is the opcode of the command "get_serial_number", and no request.*fcx fault command 4010` lets' \
    fcx fault request get_serial_number fail
  expect 0 'note: 4294 is the opcode of the command "read_imei".*request 117 is "read_imei"' \
    fcx fault request 4294 fail
  expect 0 '^    "fcx: note: 4294 is the opcode' fcx fault request 4294 fail --json
  expect 0 'request +117 read_imei +any' fcx fault request read_imei refuse
  expect 0 '"target": "117",' fcx fault list --json
  also '"name": "read_imei"' '"after": 2'

  fcx fault clear >/dev/null
  expect 0 'command +4294 read_imei +any +fail +1 +1$' fcx fault command read_imei fail --times 1
  expect 3 '^result +1$' fcx send 4294
  expect 0 '^data +490154203237518$' fcx send 4294
  expect 0 'command +4018 get_csn, set_csn +item +fail +1 +until' fcx fault command set_csn fail --on item
  expect 3 '^ERROR$' fcx at 'AT%FCX=4018'
  # Only on a phone with an overlay.
  expect 0 'command +4013 get_code_crc +service +fail' fcx fault command 4013 fail --on service
  expect 2 'command 4294 read_imei makes no file access that could fail, only: ' fcx fault command 4294 fail --on file
  expect 2 'command 4056 makes no access that could fail$' fcx fault command 4056 fail
  expect 2 'no command has the opcode 4999' fcx fault command 4999 fail
  expect 0 'service +atservice +find +late 60000 +1 +1$' fcx fault service atservice late 60000 --on find
  expect 0 'power_off, cable_wait or screencap$' fcx fault thread --help
  ;;
power_cut)
  fcx init >/dev/null
  expect 0 '^nothing was lost$' fcx power-cut
  fcx logs crash >/dev/null # whose files nobody flushes
  expect 0 '^not flushed +/data/logger/crash_info/crash_log0.txt: data and name$' fcx power
  also '^not flushed +/data/logger/crash_info: name$'
  expect 0 '^unflushed 3 files; ' fcx status
  expect 0 '^/data/logger/crash_info/crash_log0.txt  back to 4096 bytes$' fcx power-cut torn
  expect 0 '^last end +power_cut: what was not flushed is torn' fcx power
  also '^not flushed +nothing$'
  fcx logs crash >/dev/null
  expect 0 '^nothing was lost$' fcx power-cut kept
  expect 2 'dropped, torn or kept, not "all"' fcx power-cut all
  expect 2 'the daemon: dies$' fcx fault daemon cut
  expect 2 'not "all"' fcx fault power cut all

  expect 0 'power +- +any +cut torn +3 +1$' fcx fault power cut torn --after 3
  expect 3 '^fcx: the power was cut after change 3: file rename /mnt/vendor/persist-qv/agree_factory$' \
    fcx send 4419 agreed
  also '^nothing was lost$'
  expect 0 '^data +agreed$' fcx send 4418
  expect 0 '"lost": \[\]$' fcx power-cut --json
  fcx fault power cut --after 4 >/dev/null
  expect 0 '^result +0$' fcx send 4419 other
  expect 3 '"change": 1,' fcx send 4018 123456789012345 --json
  also '"part": "item"' '"access": "write"' '"target": "37"' '"unflushed": "dropped"' '"complaints": \[\]'
  expect 0 '^data +123456789012345$' fcx send 4018
  expect 0 '^no fault is set$' fcx fault list

  expect 0 'daemon +- +any +dies +2 +1$' fcx fault daemon dies --after 2
  expect 137 '^$' fcx send 4419 killed
  expect 0 '^data +other$' fcx send 4418
  expect 0 '^not flushed +/mnt/vendor/persist-qv/.temp[^ ]*: data and name$' fcx power
  expect 0 '^result +0$' fcx send 4419 again
  expect 0 '^nothing was lost$' fcx power-cut
  expect 0 '^data +again$' fcx send 4418
  ;;
modem)
  fcx init >/dev/null
  expect 0 '^imei1 +\*{11}7518 +IMEI of the first' fcx modem
  also '^453 +active +00000000$' '^/qv/factory/rf_cal_date +8$' '^none yet$'
  expect 0 '^imei1 +490154203237518 ' fcx modem --full
  expect 0 '"value": "\*{11}7518"' fcx modem --json
  expect 0 '^imei3  490154203237518$' fcx modem set imei3 490154203237518
  expect 0 '^idde  hex:00ff$' fcx modem set idde hex:00ff
  expect 0 '"value": null' fcx modem clear imei3 --json
  expect 0 '^7  active  0102$' fcx modem nv 7 01:02
  expect 0 '^7  failing$' fcx modem nv 7 failing
  expect 0 '"state": "failing"' fcx modem nv 7 --json
  expect 0 'does not hold' fcx modem nv 7 none
  expect 0 'request +117 read_imei +any +short 4 +1 +2$' fcx fault request read_imei short 4 --times 2
  expect 0 'service +dmi +call +dies +1 +until' fcx fault service dmi dies
  expect 0 '"value": -5' fcx fault request 200 length -5 --json
  ;;
identity)
  fcx init --profile blank >/dev/null
  expect 0 '^data +IMEI WRITE OK$' fcx send 4293 490154203237518
  expect 0 '490154203237518' fcx item get imei
  expect 0 '^data +490154203237518$' fcx send 4294
  expect 0 '^data +IMEI WRITE ERROR$' fcx send 4293 --hex 3439
  expect 2 'an IMEI has 15 digits, not "4901"' fcx send write_imei 4901
  expect 2 'an IMEI has 15 digits' fcx send 4293
  expect 0 '116 write_imei +\*{11}7518 +0 +IMEI WRITE OK$' fcx modem
  also '117 read_imei +0 +\*{11}7518$'
  expect 0 '117 read_imei +0 +490154203237518$' fcx modem --full
  expect 0 'request +117 read_imei +any +fail 1 +1 +1$' fcx fault request read_imei fail --times 1
  expect 3 '^result +1$' fcx send 4294
  expect 3 'fcx log` shows' fcx send 4068
  fcx fault request sync_efs fail >/dev/null
  expect 0 'system_efs_sync Fail ! return error.' fcx send 4020
  expect 0 ' E Fcx +: system_efs_sync Fail ! return error.$' fcx log
  ;;
sim)
  fcx init >/dev/null
  expect 0 '^iccid +\*{15}0001$' fcx sim
  expect 0 '"iccid": "8901410000000000001"' fcx sim --full --json
  expect 0 '^imsi +262010123456789$' fcx sim insert 89490200001234567890 --imsi 262010123456789
  also '^iccid +89490200001234567890$'
  expect 0 '^imsi +\*{11}6789$' fcx sim
  expect 0 '^262010123456789$' fcx at AT+CIMI
  expect 0 '"imsi": null' fcx sim insert 89490200001234567890 --json
  expect 2 'an IMSI has 6 to 15 digits' fcx sim insert 89490200001234567890 --imsi 26201x
  expect 0 '^polls to wait +3$' fcx sim delay 3
  expect 0 '"state": "error"' fcx sim error --json
  expect 0 '"iccid": null' fcx sim remove --json
  expect 0 '^iccid +hex:00ff$' fcx sim insert --any hex:00ff
  expect 0 '^delay +3 polls' fcx sim

  expect 0 '^ntcode +"1","310,410,FFFFFFFF,FFFFFFFF,FF"$' fcx ntcode get
  two='"2","310,410,FFFFFFFF,FFFFFFFF,FF","262,01F,FFFFFFFF,FFFFFFFF,A1"'
  expect 0 'mcc-list +310,262$' fcx ntcode set "$two"
  also 'subset-list +FF,A1$' 'ntcode-changed +1$'
  expect 0 'mccmnc-list": "310410,26201"' fcx ntcode get --json
  expect 0 '^ntcode +"0","FFF,' fcx ntcode set '"0","FFF,FFF,FFFFFFFF,FFFFFFFF,FF"'
  expect 0 '^ntcode +no list$' fcx ntcode set --any 'no list'
  fcx fault item 421 fail --on write >/dev/null
  expect 1 'was not stored' fcx ntcode set "$two"
  fcx fault item 421 fail --on read >/dev/null
  expect 1 'cannot be read' fcx ntcode get
  ;;
boot)
  # start PATTERN...: a start of the phone, all of which its report says.
  start() {
    expect 0 '"phone"' fcx boot --json
    report=$output
    also "$@"
  }
  make() { fcx init --profile "$1" --force >/dev/null; }

  make open
  start '"mccmnc_list": "26201,23415,22210"' '"carrier_code_date": "2020-06-01"' 'No start has been' \
    'the modem.s' 'several MCCs: 262,234,222' 'with the ICCID \*{16}2349' 'The carrier is CR2' \
    'after 1 poll of the SIM' '"name": "persist.vendor.qve.iccid"' '"after": "\*{16}2349"' \
    '"carrier": "CR2"' '"sub_carrier": "CR2_GB"' '"country": "GB"' '"mcc": "234"' \
    '"first_boot": "1"' '"sim_changed": "1"' '"pet_name": "QV 100 EU"' \
    '"client_id": "android-qve-eu"' '"complete": true'
  expect 1 '^$' grep 8944 - <<<"$report"
  start 'An earlier start has' 'the SIM of the last' '"sim_changed": "0"' '"android-qve-cr2"'
  expect 0 'inserted, ICCID 89449800000000012349' fcx boot --full
  expect 0 '^carrier +CR2 +persist.vendor.qve.sim.operator$' fcx boot

  fcx sim insert 89499770000000008157 >/dev/null
  fcx sim delay 2 >/dev/null
  start 'another SIM' '"polls": 2' 'complete, after 3 polls of the SIM' '"carrier": "CR1"' \
    '"sub_carrier": "CR1_BIZ"' '"country": "DE"' '"mcc": "234"' '"before": "\*{16}2349"'
  fcx sim insert 8934990000000000007 >/dev/null
  start 'no profile for this SIM' '"carrier": "CR1"' '"complete": true' \
    'The SIM.s MCC 214 is not among the network code.s: 262,234,222[.]'
  sed -i s/UTF-8/KOI8-R/ "$FCX_PHONE/root/oem/OP/OPEN_EU/config/carrier_code.xml"
  fcx sim insert 89449800000000012349 >/dev/null
  start 'carrier_code.xml has the encoding KOI8-R, which no phone reads[.]' '"carrier": "CR1"'
  fcx sim remove >/dev/null
  start 'There is no SIM' 'over, after 10 polls' '"sim_changed": "2"' '"complete": false'
  fcx ntcode set '"1","262,01F,FFFFFFFF,FFFFFFFF,11"' >/dev/null
  start 'rewritten: this is a first start again' 'one MCC: 262' '"mcc": "262"'

  make overlay
  start '"access": "overlay"' '"sub_carrier": "CR2_GB"' '"complete": true'
  make mtk
  start 'waits 25 s' 'fast' 'another SIM' 'Set-up is complete, after [0-9.]* s' '"carrier": "NA1"' \
    '"sub_carrier": "NA1_PRE"' '"mcc": "310"' '"android-qve-us"' '"complete": true'
  fcx sim remove >/dev/null
  start 'no SIM, or it does not answer' 'is over, after [0-9.]* s' '"complete": false'
  make single
  fcx fault request read_imei fail >/dev/null
  fcx fault request read_sim fail >/dev/null
  start 'IMEI could not be read' 'no answer about the SIM' 'network code.s MCC stands' '"mcc": "310"' \
    '"complete": true'
  fcx item set 13 490154203237526 >/dev/null
  fcx fault clear >/dev/null
  start 'The IMEI in factory item 13 was not the modem.s, which it has now'
  fcx fault property persist.vendor.qve.sim-changed fail >/dev/null
  start 'sim-changed cannot be set' '"complete": true'
  make blank
  start 'has no IMEI; factory item 13 stays' 'no MCC: nothing' '"mcc": "FFF"' '"complete": false' \
    'SW Version: the modem.s NV item had another' 'fail: QVE_MODEM_VERSION_GSM_TYPE_SECURED' \
    'Cannot find userdata ubid'
  start 'SW Version: the modem.s NV item has it' 'HW Version: the modem.s' 'Model Name: the modem.s'
  make single
  start 'The boot mode is unknown'
  fcx prop set --build ro.bootmode pif
  fcx prop set vendor.qve.sleepmode.on 1
  fcx item set 2 3 >/dev/null
  fcx item set 14 old >/dev/null
  fcx item set 31 "$(printf 'F%.0s' $(seq 49))" >/dev/null
  expect 0 'The phone is switched off: restart, reason oem-11' fcx boot --daemon
  also 'the phone stays on' 'The boot mode is pif' 'The software is another' 'New user data' \
    'FFF-?O2006010900-0, with the user data' 'is taken up again' 'The cable is pulled'
  # Where the tool runs in little memory at all: no room for a thread's stack.
  large_stacks() { (ulimit -s 4000000 && in_little_memory 1000000 "$@"); }
  if large_stacks --version >/dev/null 2>&1; then
    expect 3 'Set-up could not be started' large_stacks boot
  fi
  ;;
power)
  android_usb=$FCX_PHONE/root/sys/class/android_usb/android0
  usb_in=$FCX_PHONE/root/proc/qve_power/adc/usb_in
  fcx init >/dev/null
  expect 0 '^cable +CONFIGURED +/sys/class/android_usb/android0/state$' fcx usb
  expect 0 '"state": "DISCONNECTED"' fcx usb disconnect --json
  also '"usb_in": "0"' '"lock": "0"' '"config": "factory,adb"' '"switched_to": "factory,adb"'
  rm "$android_usb/lock" "$usb_in"
  expect 0 '^cable +CONNECTED ' fcx usb connect
  also '^lock +- ' '^charger, microvolts +- '
  expect 0 'returned 0. The phone is switched off' fcx power off-with-cable --pull-after 1
  expect 1 'no voltage can drop' fcx power off-with-cable --voltage-drop
  mv "$android_usb/state" "$work/state" && mkfifo "$android_usb/state"
  expect 1 'state: Operation not supported' fcx usb configure
  expect 1 'state: Operation not supported' fcx power off-with-cable

  fcx init --force >/dev/null
  expect 0 '^state +on, since it was made$' fcx power
  also '^last end +none yet$' '^wake locks +none$'
  fcx reboot hand >/dev/null
  expect 0 '^last end +restart: hand, at [0-9:.]+$' fcx power
  expect 2 '3600 seconds at most, not 3601' fcx power off-with-cable --pull-after 3601
  expect 2 'no negative' fcx power off-with-cable --pull-after -1
  expect 0 '^power_off_with_cable.. has returned 0. The phone is switched off, by restart, reason oem-11.$' \
    fcx power off-with-cable --pull-after 3
  also ' property +vendor.qve.sleepmode.on=1$' ' event +wake_lock: acquire fcx_poweroff$' \
    ' request +1654 wake_up$' ' node +/proc/qve_power/key_led/red_brightness=0$' \
    '^3[.][0-9] s +hand +The cable is pulled.$' ' log +Cable is unconnected$' ' event +reboot: restart, reason oem-11$'
  expect 0 '^cable +DISCONNECTED' fcx usb
  expect 0 '^state +switched off at [0-9:.]+; the next command finds' fcx power
  expect 0 '"state": "off"' fcx power --json
  also '"kind": "reboot"' '"detail": "restart, reason oem-11"' '"wake_locks": \[\]'
  expect 0 '^card +inserted$' fcx card insert
  expect 0 '^event +factory_reset: sdcard$' fcx send frst_start 1
  expect 0 '"mounted_at": "/storage/' fcx card --json
  expect 0 '^card +removed$' fcx card remove
  expect 3 'no SD card' fcx send frst_start 1
  fcx send 4405 >/dev/null
  expect 0 '^factory reset carried out: 1$' fcx reboot
  fcx send 4406 >/dev/null
  expect 0 'The factory reset that was noted is carried out: 0[.]$' fcx boot
  # Without a cable nothing is waited for; with one that stays for long, its blinking is told once.
  expect 0 'log +USB State: DISCONNECTED$' fcx power off-with-cable --pull-after 0
  also ' node +/proc/qve_power/key_led/red_brightness=255$' # which it was before
  expect 1 '^$' grep 'cable is pulled[.]' - <<<"$output"
  fcx usb configure >/dev/null
  expect 0 '  [.]{3} (29|30) times in all, each of these 8$' fcx power off-with-cable --pull-after 60
  for state in 'voltage' 'unreadable voltage'; do
    fcx usb configure >/dev/null
    expect 0 'switched off' fcx power off-with-cable --voltage-drop --pull-after 2
    also 'hand +The cable is pulled: its voltage drops' 'hand +The USB state is DISCONNECTED, too.$'
    expect 0 '^cable +DISCONNECTED' fcx usb
    fcx fault file /proc/qve_power/adc/usb_in fail >/dev/null
  done
  fcx fault clear >/dev/null
  for state in 'service reboot absent' 'service wakelock absent' 'thread cable_wait fail EPERM' \
    'file /sys/class/android_usb/android0/state fail'; do
    read -r -a fault <<<"$state"
    fcx fault "${fault[@]}" >/dev/null
    expect 3 'The phone stays on.$' fcx power off-with-cable --pull-after 1
    case $state in
    *wakelock*) also 'ret = -1$' 'has returned 1' ;;
    *) expect 0 '^wake locks +fcx_poweroff, since' fcx power ;;
    esac
    expect 3 '"end": null' fcx power off-with-cable --json
    fcx reboot >/dev/null
    fcx fault clear >/dev/null
  done
  ;;
screen)
  to() { "${@:2}" >"$1"; } # to FILE COMMAND...
  fb0=$FCX_PHONE/root/dev/graphics/fb0
  screencap=$FCX_PHONE/root/system/bin/screencap
  cd "$work" || exit 1
  fcx init --profile blank >/dev/null
  expect 0 '^size +1080 x 2400 pixels$' fcx screen
  also '^pixels +32 bits, rows of 4352 bytes$' '^shows +the test card$'

  # Whether captures of a rectangle are what the framebuffer holds.
  cat >compare.py <<'END'
import struct, sys
root, rect, names = sys.argv[1], sys.argv[2], sys.argv[3:]
left, top, width, height = map(int, rect.split(","))
node = lambda name: int(open(f"{root}/sys/class/graphics/fb0/{name}").read())
depth, stride = node("bits_per_pixel") // 8, node("stride")
memory = open(f"{root}/dev/graphics/fb0", "rb").read()
rows = [memory[y * stride + left * depth:][:width * depth] for y in range(top, top + height)]
header = lambda form: struct.pack("<3I", width, height, form)
narrow = lambda r, g, b, _: struct.pack("<H", r >> 3 << 11 | g >> 2 << 5 | b >> 3)
bright = lambda v: 2 * (v & 31) + (v >> 5 & 63) + 2 * (v >> 11) > 100 * 3 // 4
def bitmap(row):
    bits = "".join("01"[not bright(v)] for v, in struct.iter_unpack(">H", row)) + "0" * (-width % 8)
    return int(bits, 2).to_bytes(len(bits) // 8, "big")
rows16 = rows if depth == 2 else [b"".join(narrow(*p) for p in struct.iter_unpack("4B", row)) for row in rows]
expected = {"16.raw": header(4) + b"".join(rows16), "32.raw": header(1) + b"".join(rows),
            "bw.pbm": b"P4\n%d %d\n" % (width, height) + b"".join(map(bitmap, rows16))}
print(*(name for name in names if open(name, "rb").read() != expected[name]))
END
  for state in '33x17 16 0,0,33,17' '33x17 32 3,2,1,15' '257x9 16 0,0,257,9' '257x9 32 256,8,1,1' \
    '1080x24 32 7,5,1001,19'; do
    read -r size bits rect <<<"$state"
    for way in compositor framebuffer; do
      expect 0 "^pixels +$bits bits" fcx screen card --size "$size" --bits "$bits"
      [ $way = compositor ] || fcx fault thread screencap fail >/dev/null
      expect 0 '^captured ' fcx capture --rect "$rect" 16.raw
      expect 0 '^captured ' fcx capture --rect "$rect" --bw 100 bw.pbm
      # In 32 bits the library reads a framebuffer with longer rows askew, on purpose.
      names=(16.raw bw.pbm)
      [ $way$bits != compositor32 ] || names+=(32.raw)
      [ $way$bits != compositor32 ] || expect 0 '^captured ' fcx capture --rect "$rect" --bits 32 32.raw
      expect 0 '^$' python3 compare.py "$FCX_PHONE/root" "$rect" "${names[@]}"
      fcx fault clear >/dev/null
    done
  done
  state=
  # Pictures show the same, and so does the display that shows them.
  for bits in 16 32; do
    fcx screen card --size 300x40 --bits $bits >/dev/null
    expect 0 '^captured 300 x 40 pixels: a.png, ' fcx capture --bits $bits a.png
    fcx screen save b.png >/dev/null
    expect 0 '^$' cmp a.png b.png
    fcx capture --bw 100 a.pbm >/dev/null
    fcx capture --bw 100 --format png a >/dev/null
    expect 0 '^shows +a picture$' fcx screen show a
    fcx capture --bw 100 b.pbm >/dev/null
    expect 0 '^$' cmp a.pbm b.pbm
    expect 0 '^shows +the test card$' fcx screen show a.png --bits $bits
  done
  # What lets something through lies on black: 200, 100, 50 by half, beside 9, 9, 9.
  base64 -d >alpha.png <<<iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAYAAAD0In+KAAAAEUlEQVR4nGM4kWLUwMnJ+R8ADgEC+YouBLYAAAAASUVORK5CYII=
  expect 0 '"stride": 8,' fcx screen show alpha.png --bits 32 --json
  also '"width": 2,' '"height": 1,' '"bits": 32,' '"test_card": false'
  expect 0 '^643219ff090909ff$' sh -c "od -An -v -tx1 $fb0 | tr -d ' \n'"

  # Standard output has the picture's bytes, whatever a screencap prints.
  fcx screen card --size 40x30 --bits 32 >/dev/null
  fcx capture a.png >/dev/null
  expect 0 '^$' to b.png fcx capture -
  expect 0 '^$' cmp a.png b.png
  cp "$screencap" launcher
  printf '#!/bin/sh\necho noise\nexit 1\n' >"$screencap"
  expect 0 'screencap did not exit clearly' to b.png fcx capture -
  also '^Fcx: ScreenCapture: Fail to get image data from SF'
  expect 0 '^$' cmp a.png b.png
  expect 1 'could not be written' to_full_disk fcx capture -
  expect 0 '"path": "c.raw"' fcx capture --rect 1,2,3,4 --format raw c.raw --json
  also '"format": "raw"' '"left": 1,' '"top": 2,' '"width": 3,' '"height": 4,' '"bits": 16,' '"size": 36'
  expect 0 '"bits": 1,' fcx capture --bw 0 c.pbm --json

  # A capture that fails or is short makes no file, and leaves the one that is there.
  echo kept >kept.png
  ln -sf kept.png link.png
  mkfifo pipe
  before=$(ls -A)
  printf '#!/bin/sh\nhead -c 99 /dev/zero >"$1"\n' >"$screencap"
  expect 1 'screen was not captured: 0 bytes came' fcx capture link.png
  also '^Fcx: captureScreen: next!$'
  expect 1 '^Fcx: Invalid capture request!!!!!$' fcx capture --rect 0,0,41,1 kept.png
  expect 0 '^kept$' cat kept.png
  expect 1 'screen was not captured' to kept.png fcx capture --rect 40,0,1,1 -
  expect 0 '^$' cat kept.png
  cp launcher "$screencap"
  expect 1 'no file: left alone' fcx capture --format png pipe
  expect 1 'nowhere/a: No such file' fcx capture --format png nowhere/a
  expect 0 '^$' test "$before" = "$(ls -A)"
  expect 0 '^captured ' fcx capture link.png
  expect 0 '^kept.png$' readlink link.png
  expect 0 '^$' cmp a.png kept.png
  # A link's target is made, and a mode stays.
  chmod 600 kept.png
  ln -s made.png dangling.png
  touch .fcx-output-killed
  for name in link dangling; do expect 0 '^captured ' fcx capture $name.png; done
  expect 0 '^600 made.png$' echo "$(stat -c %a kept.png) $(readlink dangling.png)"
  expect 0 '^$' test ! -e .fcx-output-killed
  expect 0 '^$' cmp a.png made.png
  rm "$screencap"
  expect 0 '^fcx: root/system/bin/screencap: No such file' fcx capture link.png
  cp launcher "$screencap"
  ln -s "$work" "$FCX_PHONE/root/data/screencap.new"
  rm -r "$FCX_PHONE/root/data/screencap"
  mv "$FCX_PHONE/root/data/screencap.new" "$FCX_PHONE/root/data/screencap"
  expect 1 '/data/screencap is a link' fcx capture link.png
  rm "$FCX_PHONE/root/data/screencap"
  # Nodes that say nothing have a way back.
  nodes=$FCX_PHONE/root/sys/class/graphics/fb0
  for state in "rm -r $nodes" "cp /dev/null $nodes/bits_per_pixel" "cp /dev/null $nodes/virtual_size"; do
    $state
    expect 1 'fcx screen card` puts that right' fcx screen
    case $state in
    *bits*) expect 0 '^pixels +32 bits' fcx screen show a.png ;;
    *) expect 0 '^size +1080 x 2400 pixels$' fcx screen card ;;
    esac
  done
  state=
  rm "$fb0"
  expect 1 'was not captured' fcx capture d.png
  also '^screencap: /dev/graphics/fb0: No such file' '^Fcx: Cannot open fb0!$'
  expect 1 '"message": "the screen was not captured: 0 bytes came. The library.s log is beside it."' fcx capture d.png --json
  also '^      "Fcx: Cannot open fb0!"' '"exit_status": 1'
  expect 1 'fb0: No such file' fcx screen

  for words in '' 'a' 'a.gif' '- --json' '--format gif a.png' '--format pbm a' 'a.pbm' '--bw 1 a.raw' '--bw 256 a.png' \
    '--bw -1 a.png' '--bw 1 --bits 32 a.png' '--bits 24 a.png' '--rect 1,2,3 a.png' '--rect 1,2,3,4,5 a.png' \
    '--rect 1,2,3,4, a.png' '--rect 1,2,3,x a.png' '--rect 1,2,0,4 a.png' '--rect 1,2,3,0 a.png' \
    '--rect -1,2,3,4 a.png' '--rect 1,2,3,2147483648 a.png'; do
    read -r -a words <<<"$words"
    expect 2 '^fcx: |^    "exit_status": 2$' fcx capture "${words[@]}"
  done
  expect 2 '--bits is 16 or 32, not "24"' fcx screen card --bits 24
  for size in 1 1x x1 0x1 1x8193 1x1x1; do expect 2 '--size is WIDTHxHEIGHT' fcx screen card --size $size; done
  expect 1 'compare.py is no PNG file' fcx screen show compare.py
  # A disk that is full, for what is larger than all that the phone writes.
  in_little_space() { (trap '' XFSZ && ulimit -f 200 && "$@"); }
  fcx screen card --size 500x500 >/dev/null
  before=$(ls -A)
  expect 1 'full.raw: File too large' in_little_space fcx capture full.raw
  expect 0 '^$' test "$before" = "$(ls -A)"
  ;;
version)
  # of PROFILE VERSION PATTERN...: the carrier's version, of which factory item 14 and a start know.
  of() {
    fcx init --profile "$1" --force >/dev/null
    expect 0 '"source": "network code"' fcx version --json
    also "\"name\": \"software\"" '"source": "modem"' '"where": "/proc/cmdline"' "${@:3}"
    expect 0 '^2$' grep -cF "\"value\": \"$2\"" <<<"$output"
    expect 0 'factory item 14 has it' fcx version
    also "^software, as the carrier has it: ${2//+/\\+}$" 'factory item 15 has it' 'item 31 has it' \
      '^hardware revision: 1.0$'
    expect 0 "^data +${2//+/\\+}$" fcx send 4011
  }
  of single QV100AT-00-V10a-310-410-JUN-01-2020+0 /data/.OP/userdata.ubid
  of open QV100AT-00-V10a-262-01-CR1-JUN-01-2020+0 /oem/OP/OPEN_EU/cust_CR1.prop _COMMON/op.ubid
  of mtk QV100AT-00-V10b-310-410-NA1-JUN-01-2020+0 /oem/OP/NAO/cust_NA1.prop
  of overlay QV100AT-00-V10a-262-01-CR1-JUN-01-2020+0 CR1/cust_sub.prop OPEN_EU/cust.prop \
    /product/etc/op.ubid
  fcx fault service filehandle absent >/dev/null
  expect 0 'as the carrier has it: \(there is none\)' fcx version
  also 'cust_path_mapping.cfg cannot be read$' 'without /product/etc/op.ubid'
  expect 3 'result +1' fcx send 4011
  fcx init --profile blank --force >/dev/null
  expect 0 'NTCODE READ ERROR 1' fcx version
  also 'Cannot find ap ubid' 'factory item 14 is empty' '^binary revision: 0$'
  ;;
logs)
  root=$FCX_PHONE/root
  logs=$root/data/vendor/factory
  saved=$logs/logsave
  cd "$work" || exit 1
  # same DIR...: the collected folder has what it was copied from.
  same() {
    local name
    for name in dbdump nvdump; do expect 0 '^$' diff -r "$logs/$name" "$1/$name"; done
    expect 0 '^$' diff -r "$root/data/vendor/touch" "$1/touch"
  }
  # whole DATE: the archive is one, and has what that folder has.
  whole() {
    expect 0 'No errors' unzip -t "$saved.zip"
    expect 0 'Everything is Ok' 7z t "$saved.zip"
    rm -rf unpacked
    expect 0 'rkf_last_dmesg_1.txt' fcx logs extract "$saved.zip" unpacked
    expect 0 '^$' diff -r "$saved/$1" "unpacked/$1"
  }
  dated() { (cd "$saved" && echo 2*); }

  fcx init >/dev/null
  expect 0 'no logs are collected' fcx logs list
  # What no sample has: names, bytes and sizes that are hard to copy.
  awkward=$logs/dbdump/awkward
  mkdir "$awkward"
  head -c 3000000 /dev/urandom | base64 -w 0 >"$awkward/one long line"
  head -c 70000 /dev/zero >"$awkward/$(printf 'n%.0s' $(seq 140))"
  expect 0 '^result  0$' fcx logs collect
  also '  dbdump/items/changes of 2020-06-01.txt +2280$' '  radio.log +3436$' "here: $saved.zip$" \
    '  2[0-9]*_[0-9]*/touch/capacitance.csv +3240$' '  rkf_last_dmesg_0.txt +49'
  date=$(dated)
  whole "$date"
  same "$saved/$date"
  expect 0 '^$' diff "$saved/$date/kernel.log" "$root/proc/kmsg"
  expect 0 'panic: the storage has not answered' tail -n 2 "$saved/$date/rkf_last_dmesg_0.txt"
  expect 0 'entering download mode$' tail -n 1 "$saved/$date/rkf_last_dmesg_1.txt"
  expect 0 '^\[ro.build.type\]: \[userdebug\]$' cat "$saved/$date/property.log"
  expect 0 '"is_whole": true' fcx logs list --json
  also "\"path\": \"/data/vendor/factory/logsave/$date/\"" '"name": "kernel.log"'

  # Killed while it copies, and while it packs; then repeated.
  for state in "$logs/nvdump/nv.bin read $saved/2*/nvdump/nv.bin" "$saved.zip write $saved.zip"; do
    read -r file access begun <<<"$state"
    rm -rf "${saved:?}"/2* "$saved.zip"
    fcx fault file "${file#"$root"}" late 600000 --on "$access" >/dev/null
    FCX_CLOCK=real "${tool[@]}" logs collect >/dev/null 2>&1 &
    killed=$!
    for ((i = 0; i < 1500; i++)); do
      ! compgen -G "$begun" >/dev/null || break
      sleep 0.02
    done
    kill -9 "$killed"
    wait "$killed" 2>/dev/null
    fcx fault clear >/dev/null
    cut=$(dated)
    expect 0 "logsave/$cut/\$" fcx logs list
    case $access in write) also 'bytes, not completed' ;; esac
    expect 0 '^result  0$' fcx logs collect
    for date in $(dated); do whole "$date"; done
    same "$saved/$date"
  done
  state=

  expect 3 '^Fcx: .*sdcard is not inserted$' fcx logs collect --to card
  fcx card insert >/dev/null
  expect 0 '^/storage/6A3F-11E2/logsave/2[0-9_]*/$' fcx logs collect --to card
  same "$root/storage/6A3F-11E2/logsave/2"*
  expect 0 '^  nv.bin +1024$' fcx logs collect --to nvdump
  expect 0 '^$' diff -r "$logs/nvdump" "$saved/nvdump"
  expect 0 '^/storage/.*/logsave/2' fcx logs list
  also '^/data/vendor/factory/logsave/nvdump/$'
  expect 2 'no target of logs is called "crad". Near it: card' fcx logs collect --to crad
  # A file that cannot be read does not stop it; a full disk does.
  fcx fault file /data/vendor/factory/nvdump/nv.bin fail EACCES --on open --times 1 >/dev/null
  expect 0 '^result  0$' fcx logs collect
  fcx fault file /data/vendor/factory/logsave.zip short 0 --on write >/dev/null
  expect 3 '^result  1$' fcx logs collect
  expect 0 '^$' test ! -e "$saved.zip"
  fcx fault clear >/dev/null

  # Two at once take turns, and no link leads out of the phone.
  fcx logs collect >first &
  expect 0 '^result  0$' fcx logs collect
  wait $!
  for said in "$output" "$(cat first)"; do expect 0 "/rkf_last_dmesg_1.txt +" cat <<<"${said#*"$saved.zip"}"; done
  date=$(cd "$saved" && ls -d 2* | tail -n 1)
  whole "$date"
  mkdir outside
  for state in 'collect data/vendor/factory/logsave' 'collect data/vendor/factory/logsave.zip' 'erase data/vendor/factory/nvdump' \
    'crash data/logger/crash_info' 'touch data/auto_touch_offset'; do
    read -r verb link <<<"$state"
    [ ! -e "$root/$link" ] || mv "$root/$link" aside
    ln -s "$work/outside" "$root/$link"
    expect 1 "^fcx: /$link is a link" fcx logs "$verb"
    rm "$root/$link"
    [ ! -e aside ] || mv aside "$root/$link"
  done
  state=
  expect 0 '^$' find outside -mindepth 1

  fcx fault service atservice absent >/dev/null
  expect 3 '"Fcx: .*QVATCMDService log copy fail."$' fcx logs collect --json
  also '"folder": null' '"archive": null'
  expect 3 '"erased": false' fcx logs erase --json
  also 'QVATCMDService log erase fail."$' '"/data/vendor/factory/dbdump/"'
  fcx fault clear >/dev/null
  ln -s nowhere "$logs/nvdump/link"
  expect 3 '^left    /data/vendor/factory/nvdump/$' fcx logs erase
  also '^fcx: /data/vendor/factory/nvdump/ is left$'
  rm "$logs/nvdump/link"
  expect 0 '^erased$' fcx logs erase
  expect 0 '^$' find "$logs" "$root/data/logger" -mindepth 1

  expect 0 '"count": "2"' fcx logs crash --json
  also '"modem assertion, mm/attach.c line 1482"' '"path": "/data/logger/crash_info/crash_log1.txt"'
  expect 0 '^the count is 0$' fcx logs crash --erase
  expect 0 '^count    0$' fcx logs crash
  fcx fault item 230 fail >/dev/null
  for erase in '' --erase; do expect 3 '^Fcx: .*_crash_count: the item cannot be ' fcx logs crash $erase; done
  fcx fault clear >/dev/null

  expect 0 '^that is all$' fcx logs touch
  also '^piece of 534 characters: QV100AAAAAA0012345 TOUCH_SELF_TEST' 'RESULT=PASS $'
  expect 0 '"complete": true' fcx logs touch --json
  # One that has broken off goes on where it did.
  printf 534 >"$root/data/auto_touch_offset"
  expect 0 '^that is all$' fcx logs touch
  expect 1 '^$' grep TOUCH_SELF_TEST - <<<"$output"
  fcx fault file /data/auto_touch_offset fail EIO --on remove >/dev/null
  printf 999999 >"$root/data/auto_touch_offset"
  expect 3 'the transfer is not complete' fcx logs touch

  # Archives of other programs, and bad ones, of which nothing is left.
  mkdir -p tree/a/b
  echo intact >'tree/a/one two'
  head -c 100000 /dev/urandom >tree/a/b/archive.zip
  (cd tree && zip -qr0 ../zip.zip . && 7z a ../7z.zip . >/dev/null && zip -qr -P secret ../password.zip .)
  for state in zip 7z; do
    expect 0 '  a/b/archive.zip +100000$' env -u FCX_PHONE -u HOME "${tool[@]}" logs extract "$state.zip"
    expect 0 '^$' diff -r tree "$state"
  done
  expect 0 '"name": "archive.zip"' fcx logs extract zip.zip --flat flat --json
  expect 1 'flat is not empty, it has "archive.zip" and 1 more: left alone$' fcx logs extract zip.zip flat
  mkdir empty
  expect 0 '  a/one two +7$' sh -c 'cd empty && "$@" logs extract ../7z.zip .' - "${tool[@]}"
  expect 2 'give a directory' fcx logs extract zip
  expect 1 'none.zip: No such file' fcx logs extract none.zip
  ln -s nowhere dangling
  expect 1 'dangling is a link to nowhere' fcx logs extract zip.zip dangling
  expect 2 'the dir is empty' fcx logs extract zip.zip ''
  expect 1 'tree is no file' fcx logs extract tree new
  expect 1 '^fcx: little: File too large$' sh -c 'trap "" XFSZ && ulimit -f 200 && "$@"' - "${tool[@]}" logs extract zip.zip little
  python3 -c '
import zipfile
for name, entries in ("bare", 0), ("slow", 5000):
    with zipfile.ZipFile(name + ".zip", "w") as archive: [archive.writestr(f"a/{i}", "") for i in range(entries)]'
  expect 0 '^  no files$' fcx logs extract bare.zip
  # What was killed does not stop the next; what others put there is theirs.
  left=none
  for signal in KILL CONT; do
    "${tool[@]}" logs extract slow.zip shared >/dev/null 2>stopped &
    for ((i = 0; i < 1500; i++)); do
      ! compgen -G 'shared/.fcx-extract-*/.fcx-phone-*/phones' | grep -qv "^$left/" || break
      sleep 0.01
    done
    kill -STOP $!
    left=$(compgen -G 'shared/.fcx-extract-*')
    [ $signal = KILL ] || echo mine >shared/a
    kill -$signal $!
    wait $!
  done 2>/dev/null
  expect 0 'shared/a: File exists$' cat stopped
  expect 0 '^a:mine$' sh -c 'cd shared && echo "$(ls -A):$(cat a)"'
  python3 -c '
import zipfile
for name, entry in ("above", "../evil"), ("absolute", "/evil"), ("crc", "evil"):
    with zipfile.ZipFile(name + ".zip", "w") as archive: archive.writestr("good", "g"); archive.writestr(entry, "e" * 99)
data = open("crc.zip", "rb").read()
open("crc.zip", "wb").write(data.replace(b"e" * 99, b"f" * 99))'
  head -c 50000 zip.zip >cut.zip
  before=$(ls -A . empty)
  for state in '3 above leads out' '3 absolute leads out' '3 crc error -105' '3 cut is no zip archive' \
    '3 password error -1'; do
    read -r status name why <<<"$state"
    expect "$status" "$why" fcx logs extract "$name.zip"
    expect "$status" "$why" fcx logs extract "$name.zip" empty/new
  done
  expect 0 '^$' test "$before" = "$(ls -A . empty)"
  ;;
demo)
  expect 0 '"answers"' fcx demo --json
  if [ -e "$FCX_PHONE" ]; then failures=1; fi
  ;;
docs)
  here=$(cd "$(dirname "$0")/../.." && pwd)
  fcx commands --markdown | diff "$here/docs/commands.md" - || failures=1
  fcx demo | diff <(sed -n '/^Factory commands, answered/,/^```$/p' "$here/README.md" | sed '$d') - ||
    failures=1
  # docs/virtual_phone.md has every fault, and every node of a phone.
  for part in item property file request service thread power daemon; do
    for effect in $(fcx fault "$part" --help | sed -n '/^Effects:/,/^$/s/^  \([a-z]\{1,\}\).*/\1/p'); do
      state="$part $effect"
      expect 0 "^\\| $part \\| .*\`$effect[ \`]" cat "$here/docs/virtual_phone.md"
    done
  done
  fcx init --profile blank >/dev/null
  diff <(cd "$FCX_PHONE/root" && find proc sys -type f -printf '/%p\n' |
    sed 's/cpu[0-9]/cpuN/; s/scaling_.*/scaling_*/' | sort -u) \
    <(sed -n 's/^| `\(\/\(proc\|sys\)\/[^`]*\)` .*/\1/p' "$here/docs/virtual_phone.md" | sort) || failures=1
  # The package that docs/customisation.md shows is the one that a phone has.
  awk -v to="$work/shown" '/^`\/.*`$/ { file = to substr($0, 2, length($0) - 2) }
    /^```/ { is_inside = !is_inside && file != ""; if (!is_inside) file = ""; next }
    is_inside { system("mkdir -p $(dirname " file ")"); print >file }' "$here/docs/customisation.md"
  fcx init --profile mtk --force >/dev/null
  diff -r "$work/shown/oem" "$FCX_PHONE/root/oem" || failures=1
  ;;
*)
  echo "no case $1"
  failures=1
  ;;
esac

exit "$((failures > 0))"
