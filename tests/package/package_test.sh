#!/usr/bin/env bash
# The installed package serves a daemon, wherever it was moved to: package_test.sh BUILD_DIR, with $CXX and
# $CXXFLAGS.
set -euo pipefail
build=$1
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }

# The debug information is apart, and belongs to what is installed.
cmake --install "$build" --prefix "$work/usr" >/dev/null
[ ! -e "$work/usr/lib/debug" ] || fail 'debug information is installed without being asked for'
cmake --install "$build" --prefix "$work/usr" --component debug >/dev/null
has() { readelf --wide "$2" "$3" 2>/dev/null | grep -F -- "$1" >/dev/null; } # TEXT OPTION FILE
while read -r file; do
  id=$(readelf --notes "$file" 2>/dev/null | sed -n 's/.*Build ID: //p')
  has .debug_info --sections "$work/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" || fail "$file: no debug information"
  ! has .debug_info --sections "$file" || fail "$file is not stripped"
  has "${id:2}.debug" --string-dump=.gnu_debuglink "$file" || fail "$file does not name its debug information"
done < <(find "$work/usr" -type f -executable)
[ -n "${id-}" ] || fail 'nothing is installed'

mv "$work/usr" "$work/moved"
PKG_CONFIG_PATH=$(dirname "$(find "$work/moved" -name fcx_common.pc)")
export PKG_CONFIG_PATH FCX_PHONE=$work/phone
cmake -G Ninja -S "$root/examples/daemon" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build "$work/build" >/dev/null
plainly() { # SOURCE PROGRAM: compiles without CMake
  read -r -a options <<<"${CXXFLAGS-} -Wall -Wextra -Werror -std=c++17 $(pkg-config --cflags --libs fcx_common)"
  "$CXX" "$1" -o "$2" "${options[@]}" "-Wl,-rpath,$(pkg-config --variable=libdir fcx_common)"
}
plainly "$root/examples/daemon/main.cpp" "$work/daemon"
for daemon in "$work/build/factory_daemon" "$work/daemon"; do
  "$work/moved/bin/fcx" init --profile open --force >/dev/null
  printf '%s\n' 4010 '4018 123456789012345' 4018 3200 4999 4018x "4018 $(printf %2048s '')" '3170 fast' |
    "$daemon" >"$work/answers" 2>"$work/complaints"
  diff "$work/answers" - <<'END'
0 QV2006A00123
0
0 123456789012345
0 \x00
unknown opcode
an opcode is expected, as 4018, and a blank before its text
the text is too long
1
END
  diff "$work/complaints" <(echo "factory_daemon: library $(pkg-config --modversion fcx_common)")
  # What it has left to a thread is done.
  "$work/moved/bin/fcx" prop get persist.vendor.qve.sim.operator | grep -q CR2 || fail 'the carrier was not found'
done
# Without a phone it does not start.
! FCX_PHONE=$work "$work/daemon" </dev/null 2>"$work/complaints" || fail 'a daemon without a phone'
grep -q 'the factory items cannot be opened' "$work/complaints"
diff <(sed -n '/^```cpp$/,/^```$/{/^```/d;p}' "$root/README.md") <("$root/scripts/daemon-excerpt")

# minizip's own functions are the library's, too, and Mutex is for everybody's lock_guard.
cat >"$work/zip.cpp" <<'END'
#include <fcx/make_zip_file.h>
#include <fcx/sync.h>
#include <mutex>
int main() {
  Mutex turn;
  const std::lock_guard lock(turn);
  return MakeZipFile().CloseUnZip() == UNZ_OK && zipClose(nullptr, nullptr) == ZIP_PARAMERROR ? 0 : 1;
}
END
plainly "$work/zip.cpp" "$work/zip"
"$work/zip"
# The phone's programs are installed, too: without them the log would tell of the framebuffer.
[ -z "$("$work/moved/bin/fcx" capture --bits 32 "$work/shot.raw" 2>&1 >/dev/null)" ]
