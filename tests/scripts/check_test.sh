#!/usr/bin/env bash
# scripts/check finds each offence that it is there for, and says what it is.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$root"
# This tree without what it was built into, and one offence in each of some more files.
tar -c --exclude=./build --exclude='./.git' . | tar -x -C "$work"
cd "$work"

files='device files are opened, changed and removed in common/files.cpp only'
archives='archives are opened in services/logs/zip_streams.cpp only, over common/files.h'
home='sleeping, shell commands and flushing all files are the home'\''s (platform/device_home.h)'
threads='the library starts threads in common/threads.cpp only, and its one program in common/programs.cpp'
properties='properties are read and set in common/properties.cpp only'
items='the factory item store is asked in ftm/store.cpp only'
throws='the library throws nothing and calls nothing that throws or does not know sizes'
owners='resources have owners'
memory='memory has owners'
dropped='a result is dropped without a comment that says why'
written='includes are written from the root or from include/'
expected=()
planted=0
plant() { # FOLDER CODE REPORT [FILE] [LINE]
  planted=$((planted + 1))
  local file=$1/${4:-planted_$planted.cpp}
  mkdir -p "$1"
  printf '%b\n' "$2" >"$file"
  expected+=("$file:${5:-1}: $3")
}
edit() { # EXPRESSION FILE REPORT: an offence in a file that is there
  sed -i -E "$1" $2
  expected+=("$3")
}

# The room, the one that no arrow leads to, and the header.
while read -r from to header; do
  plant "$from" "#include \"${header#include/}\"" "no arrow leads from $from to $to ($header)"
done < <(xargs -n 3 <<'END'
dispatch modem/link include/fcx/modem_link.h         carrier devices include/fcx/bt_address.h
carrier virtual_phone virtual_phone/core/phone.h     carrier/package carrier carrier/sim.h
modem carrier/package carrier/package/xml.h          ftm modem/link modem/link/command_link.h
include/fcx platform platform/device_home.h          virtual_phone common common/files.h
daemon common common/text.h                          tests carrier carrier/state.h
END
)
plant carrier '#include "modem/link/base64.h"' 'modem/link/base64.h is internal to modem/link'
plant carrier '#include "../tools/cli.h"' "$written: \"../tools/cli.h\""
plant common '  #  include <virtual_phone/core/phone.h>' \
  'no arrow leads from common to virtual_phone (virtual_phone/core/phone.h)'
plant ftm '#include /* quietly */ "tools/cli.h"' 'no arrow leads from ftm to tools (tools/cli.h)'
plant ftm '#include HEADER' "$written: HEADER"
plant include/fcx 'int a;' 'PUBLIC does not say who implements it' planted.h
expected+=('include/fcx/planted.h:2: Member a (variable) of file planted.h is not documented.')
edit '/find_command/d' docs/api.md 'docs/api.md:1: scripts/update-docs makes it anew'
plant planted 'int a;' 'this folder is no room of the house (scripts/rules/house.py)'
plant modem 'int a;' 'sources are named *.cpp, *.h and *.def' planted.cc
plant common '#include "common/planted_circle.h"' \
  'files include each other in a circle: common/planted.h -> common/planted_circle.h -> common/planted.h' planted.h
echo '#include "common/planted.h"' >common/planted_circle.h
house=scripts/rules/house.py calls=scripts/rules/calls.py
edit '/include "benchmarks\//d' 'fuzz/*.cpp' "$house:1: no file needs the arrow fuzz -> benchmarks"
edit '/system_control\.h/d' modem/modem_power.cpp \
  "$house:1: no file needs the pair modem/modem_power.cpp -> include/fcx/system_control.h"
edit '/bt_address\.h/d' devices/bt_address.cpp \
  "$house:1: devices/bt_address.cpp does not implement include/fcx/bt_address.h, as the pair of modem/identity_items.cpp says"
edit '/^PUBLIC/a "planted_too.h": ("modem",),' $house \
  "$house:1: PUBLIC has include/fcx/planted_too.h, which is not there"
edit '/^PAIRS/a ("services/sysfs.cpp", "include/fcx/usb_mode.h", "modem/usb_mode.cpp", "planted"),' $house \
  'modem/usb_mode.cpp:1: files ask each other in a circle: modem/usb_mode.cpp -> services/sysfs.cpp -> modem/usb_mode.cpp'
edit 's/_ftm_/_planted_/g' ftm/store.cpp "$calls:1: ftm/store.cpp does not need its exception from: $items"
edit 's/\bnew\b/planted/' platform/immortal.h "$calls:1: platform/immortal.h does not need to be without an owner"

# What is built, and what is explained.
edit '/ common\/lines\.cpp/d' CMakeLists.txt 'CMakeLists.txt:1: common/lines.cpp is not built'
edit '/"carrier\/state\.cpp"/d' Android.bp 'Android.bp:1: carrier/state.cpp is not built'
edit '/"platform\/android\/device_home\.cpp"/d' Android.bp 'Android.bp:1: platform/android/device_home.cpp is not built'
edit 's/"ftm\/store/"ftm\/planted/' Android.bp 'Android.bp:1: ftm/planted.cpp is no source of the library'
filehandle=interfaces/filehandle/1.0/Android.bp
edit '/IFileHandle\.hal/d' $filehandle \
  "$filehandle:1: does not make vendor.qve.hardware.filehandle@1.0 of IFileHandle.hal types.hal"
edit '/"vendor\.qve\.hardware\.qvatcmd@1\.0"/d' Android.bp 'Android.bp:1: vendor.qve.hardware.qvatcmd@1.0 is not linked'
edit 's/@1\.0::IQvAtCmd/@1.1::IQvAtCmd/' interfaces/manifest.xml \
  'interfaces/manifest.xml:1: vendor.qve.hardware.qvatcmd@1.0::IQvAtCmd has no instance'
edit 's/ vendor\.qve\.hardware\.qvatcmd@1\.0//' cmake/interfaces.cmake \
  'cmake/interfaces.cmake:1: FCX_INTERFACE_PACKAGES and interfaces/ differ: vendor.qve.hardware.qvatcmd@1.0'
plant ftm 'const char a[] = "vendor.qve.planted";' 'docs/phone.md does not have the property vendor.qve.planted'
edit 's/`vold\.decrypt`/`vold.planted`/' docs/phone.md 'docs/phone.md:1: the library knows no property vold.planted'
report=tools/boot_report.cpp
row=$(grep -n '^const Rule kRules' $report | cut -d: -f1)
explain() { # KIND PATTERN REPORT: a row about what the library does not say
  row=$((row + 1))
  sed -i "${row}i {Kind::$1, \"$2\", nullptr}," $report
  expected+=("$report:$row: $3: $2")
}
explain line 'Cable is disconnected' 'the library logs no such line'
explain line 'INVALID ICCID|INVALID IMSI' 'the library logs no such line'
explain line '(PID|HID) is (re)?written anew' 'the library logs no such line'
explain property 'sim-changes=(.*)' 'the library sets no such property'

offend() { # FOLDER RULE EXPRESSION...: each on a line of its own, and reported by its name
  local file=$1/planted_$2.cpp rule=${!2} line=0 expression
  shift 2
  for expression; do
    line=$((line + 1))
    echo "auto a$line = $expression;" >>"$file"
    expected+=("$file:$line: $rule: ${expression%%(*}")
  done
}
offend ftm files 'open("a")' '::open("a")' ::stat 'unlink("a")' 'std::remove("a")' 'fopen("a")' 'openat(0, "a")' \
  'fstatat(0, "a")' mkostemp 'opendir("a")' 'ifstream("a")' filesystem 'xmlReadFile("a")'
offend services/logs archives 'zipOpen("a", 0)' 'unzOpen64("a")' 'unzOpen2_64("a", b)'
offend carrier/package home 'system("reboot")' 'usleep(5)' 'popen("a")' 'sync()'
offend services threads 'fork()' 'execvp("a")' 'posix_spawn("a")' 'std::thread(a)' pthread_create
offend modem properties 'property_get("a")' 'property_set("a")'
offend devices items 'get_ftm_item(1)' 'set_ftm_item(1)'
offend dispatch throws 'throw' 'stoi("1")' 'strcpy(a, b)'
offend tools owners 'fclose(a)' 'std::free(a)'
offend common memory 'malloc(5)'
for made in 'new Thing' 'new int' 'new (std::nothrow) int' 'std::unique_ptr<int>(new int)'; do
  plant virtual_phone/core "auto a = $made;" "$owners: new (std::nothrow) only into one"
done
for given in 'delete b' 'delete[] b'; do plant common "void a(int* b) { $given; }" "$owners: delete"; done
plant carrier 'int a(const Text& text) { return text.at(1); }' "$throws: .at"
plant modem/link 'int a() { return open\n("a"); }' "$files: open"
plant common '#ifdef __ANDROID__' 'only platform/ knows which home it is in: __ANDROID__'
plant modem 'void a() { static_cast<void>(b()); }' "$dropped"
plant modem '// Why.\n\nvoid a() { (void)b(); }' "$dropped" planted.cpp 3
plant modem 'std\n    ::thread a;' "$threads: std::thread" planted_thread.cpp 2
plant services 'namespace fcx {\nclass A;\nclass E(f) Planted final : public G {\n};\n}' \
  'fcx::Planted is a type of carrier/planted_none.h, too' planted_type.cpp 3

# What is like an offence and is none.
cat >ftm/planted_none.cpp <<'END'
// new int, open("a"), fork()
const char* a = "fork() /* new */ 'open(1)'";
/* #include "tools/cli.h" */
int b(const File& file) { return file.open(1) + file->stat("a") + Other::remove(1'000); }
struct C {
  C(const C&) = delete;
};
std::unique_ptr<int> d(new (std::nothrow) int);
void e() {
  static_cast<void>(f());  // unreadable: none
  static_cast<void>(0);
}
END

printf 'namespace fcx {\nenum class Planted : int { a };\n}\n' >carrier/planted_none.h
cat >devices/planted_none.cpp <<'END'
namespace fcx {
class Planted;
namespace {
struct Planted {
  class Store {};
};
}  // namespace
void a(struct Planted& b) {
  struct Planted {};
}
}  // namespace fcx
END

plant ftm 'int   a;' 'clang-format decides layout: scripts/check --fix' planted_layout.cpp
mkdir tests/planted
seq -f 'int a%.0f;' 20000 >tests/planted/long.cpp
expected+=('tests:0: at most a third may be')

if scripts/check >reported; then
  echo 'scripts/check is content with a tree that has offences'
  exit 1
fi
sed -i -E 's/^(tests:0: )[0-9]+ of [0-9]+ lines are tests, [0-9.]+%: /\1/' reported
failures=0
for line in "${expected[@]}"; do
  grep -qxF -- "$line" reported || { echo "not reported: $line"; failures=1; }
done
# Of the files that were planted nothing else is said, but that their layout is another.
printf '%s\n' "${expected[@]}" >expected
if grep '/planted[^ ]*:' reported | grep -v 'clang-format decides' | grep -vxFf expected; then
  echo 'was not to be reported'
  failures=1
fi
scripts/check --fix >reported || true
if grep 'clang-format decides' reported; then
  echo 'scripts/check --fix has left a layout'
  failures=1
fi
exit $failures
