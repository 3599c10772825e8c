#!/usr/bin/env bash
# The installed package serves a daemon, wherever it was moved to: package_test.sh BUILD_DIR, with $CXX and $CXXFLAGS.
set -euo pipefail
build=$1 root=$(cd "$(dirname "$0")/../.." && pwd) work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*"; exit 1; }
has() { readelf --wide "$2" "$3" 2>/dev/null | grep -F -- "$1" >/dev/null; } # TEXT OPTION FILE

cmake --install "$build" --prefix "$work/usr" >/dev/null
[ ! -e "$work/usr/lib/debug" ] || fail 'debug information is installed without being asked for'
cmake --install "$build" --prefix "$work/usr" --component debug >/dev/null
while read -r file; do
  id=$(readelf --notes "$file" 2>/dev/null | sed -n 's/.*Build ID: //p')
  has .debug_info --sections "$work/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" || fail "$file: no debug information"
  ! has .debug_info --sections "$file" || fail "$file is not stripped"
  has "${id:2}.debug" --string-dump=.gnu_debuglink "$file" || fail "$file does not name its debug information"
done < <(find "$work/usr/bin" "$work"/usr/lib*/ -type f -executable)

mv "$work/usr" "$work/moved"
PKG_CONFIG_PATH=$(dirname "$(find "$work/moved" -name fcx_common.pc)")
export PKG_CONFIG_PATH FCX_PHONE=$work/phone
fcx() { "$work/moved/bin/fcx" "$@"; }
plainly() { # SOURCE PROGRAM: compiles without CMake
  read -r -a options <<<"${CXXFLAGS-} -Wall -Wextra -Werror -std=c++17 $(pkg-config --cflags --libs fcx_common)"
  "$CXX" "$1" -o "$2" "${options[@]}" "-Wl,-rpath,$(pkg-config --variable=libdir fcx_common)"
}
cmake -G Ninja -S "$root/examples/daemon" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build "$work/build" >/dev/null
plainly "$root/examples/daemon/main.cpp" "$work/daemon"
for daemon in "$work/build/factory_daemon" "$work/daemon"; do
  fcx init --profile open --force >/dev/null
  printf '%s\n' 4010 '4018 123456789012345' 4018 3200 4999 4018x "4018 $(printf '%2048s' '')" '3170 fast' |
    "$daemon" >"$work/answers" 2>"$work/complaints"
  diff "$work/answers" <(printf '%s\n' '0 QV2006A00123' 0 '0 123456789012345' '0 \x00' 'unknown opcode' \
    'an opcode is expected, as 4018, and a blank before its text' 'the text is too long' 1)
  diff "$work/complaints" <(echo "factory_daemon: library $(pkg-config --modversion fcx_common)")
  fcx prop get persist.vendor.qve.sim.operator | grep CR2 >/dev/null || fail 'what it has left to a thread is not done'
done
! FCX_PHONE=$work "$work/daemon" </dev/null 2>"$work/complaints" || fail 'a daemon without a phone'
grep -q 'the factory items cannot be opened' "$work/complaints"
diff <(sed -n '/^```cpp$/,/^```$/{/^```/d;p}' "$root/README.md") <("$root/scripts/daemon-excerpt")

for plan in incoming-check write-and-verify soak; do
  fcx station --check "$work/moved/share/fcx_common/plans/$plan.yaml" >/dev/null || fail "the plan $plan"
done
cmp "$root/docs/plan.schema.json" "$work/moved/share/fcx_common/plan.schema.json"
cmp "$root/docs/junit.xsd" "$work/moved/share/fcx_common/junit.xsd"

# minizip's own functions are the library's, too, and Mutex is for everybody's lock_guard.
printf '#include <%s>\n' fcx/make_zip_file.h fcx/sync.h mutex >"$work/zip.cpp"
echo 'int main() { Mutex turn; const std::lock_guard lock(turn);
  return MakeZipFile().CloseUnZip() == UNZ_OK && zipClose(nullptr, nullptr) == ZIP_PARAMERROR ? 0 : 1; }' >>"$work/zip.cpp"
plainly "$work/zip.cpp" "$work/zip"
"$work/zip"
# The phone's programs are installed, too: without them the log would tell of the framebuffer.
[ -z "$(fcx capture --bits 32 "$work/shot.raw" 2>&1 >/dev/null)" ]
