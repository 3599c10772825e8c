#!/usr/bin/env bash
# The installed package serves a daemon: consumer_test.sh BUILD_DIR
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/usr" >/dev/null
cmake -G Ninja -S "$here" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/usr" >/dev/null
cmake --build "$work/build" >/dev/null
export FCX_PHONE=$work/phone
"$work/usr/bin/fcx" init >/dev/null
[ "$("$work/build/consumer")" = QV2006A00123 ]
# The phone's programs are installed, too: without them the log would tell of the framebuffer.
[ -z "$("$work/usr/bin/fcx" capture --bits 32 "$work/shot.raw" 2>&1 >/dev/null)" ]
