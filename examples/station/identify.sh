#!/bin/sh
# Which phone is that? identify.sh ADDRESS, where `fcx serve` is: a socket's path, or HOST:PORT. The exit status is that
# of the first command that fails: 3 when its result is not 0, 1 when the phone could not be asked.
set -eu
ask() { # NAME COMMAND
  answer=$(fcx send --connect "$address" "$2")
  printf '%-14s%s\n' "$1" "$(printf '%s\n' "$answer" | sed -n 's/^data  *//p')"
}

address=$1
ask 'serial number' get_serial_number
ask SKU 4404
ask software 4011
ask IMEI read_imei
