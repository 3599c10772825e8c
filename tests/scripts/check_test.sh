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
home='sleeping and shell commands are the home'\''s (platform/device_home.h)'
threads='the library starts no process, and threads in common/threads.cpp only'
properties='properties are read and set in common/properties.cpp only'
items='factory items are read and written through ftm/'
throws='the library throws nothing and calls nothing that throws or does not know sizes'
owners='resources have owners'
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

while IFS='|' read -r folder target report; do
  plant "$folder" "#include \"$target\"" "$report"
done <<'END'
dispatch|fcx/modem_link.h|no arrow leads from dispatch to modem/link (include/fcx/modem_link.h)
dispatch|daemon/daemon.h|includes are written from the root or from include/: "daemon/daemon.h"
carrier|fcx/bt_address.h|no arrow leads from carrier to devices (include/fcx/bt_address.h)
carrier|modem/link/base64.h|modem/link/base64.h is internal to modem/link
carrier|virtual_phone/core/phone.h|no arrow leads from carrier to virtual_phone (virtual_phone/core/phone.h)
carrier/package|carrier/sim.h|no arrow leads from carrier/package to carrier (carrier/sim.h)
services|tools/cli.h|no arrow leads from services to tools (tools/cli.h)
devices|tests/phone_fixture.h|no arrow leads from devices to tests (tests/phone_fixture.h)
modem|carrier/package/xml.h|no arrow leads from modem to carrier/package (carrier/package/xml.h)
modem/link|fcx/identity_items.h|no arrow leads from modem/link to modem (include/fcx/identity_items.h)
ftm|modem/link/command_link.h|no arrow leads from ftm to modem/link (modem/link/command_link.h)
common|benchmarks/bench.h|no arrow leads from common to benchmarks (benchmarks/bench.h)
common|fcx/factory_items.h|no arrow leads from common to ftm (include/fcx/factory_items.h)
platform|common/text.h|no arrow leads from platform to common (common/text.h)
include/fcx|platform/device_home.h|no arrow leads from include/fcx to platform (platform/device_home.h)
virtual_phone/core|common/files.h|no arrow leads from virtual_phone to common (common/files.h)
virtual_phone/core|fcx/usb_mode.h|no arrow leads from virtual_phone to modem (include/fcx/usb_mode.h)
daemon|common/text.h|no arrow leads from daemon to common (common/text.h)
tools|modem/link/command_link.h|no arrow leads from tools to modem/link (modem/link/command_link.h)
tests/carrier|carrier/state.h|no arrow leads from tests to carrier (carrier/state.h)
benchmarks|fuzz/target.h|no arrow leads from benchmarks to fuzz (fuzz/target.h)
carrier|../virtual_phone/core/phone.h|includes are written from the root or from include/: "../virtual_phone/core/phone.h"
END
plant common '  #  include <virtual_phone/core/phone.h>' \
  'no arrow leads from common to virtual_phone (virtual_phone/core/phone.h)'
plant ftm '#include /* quietly */ "tools/cli.h"' 'no arrow leads from ftm to tools (tools/cli.h)'
plant ftm '#include HEADER' "$written: HEADER"
plant include/fcx 'int a;' 'PUBLIC does not say who implements it' planted.h
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
edit 's/set_ftm_item/planted/' devices/bt_address.cpp \
  "$calls:1: devices/bt_address.cpp does not need its exception from: $items"
edit 's/\bnew\b/planted/' common/immortal.h "$calls:1: common/immortal.h does not need to be without an owner"

while IFS='|' read -r folder rule name code; do
  plant "$folder" "$code" "${!rule}: $name"
done <<'END'
ftm|files|open|int a() { return open("/dev/null", 0); }
ftm|files|::open|int a() { return ::open("/dev/null", 0); }
ftm|files|open|int a() { return open\n    ("/dev/null", 0); }
ftm|files|::stat|auto* a = &::stat;
modem|files|unlink|int a() { return unlink("a"); }
modem|files|std::remove|int a() { return std::remove("a"); }
modem/link|files|fopen|void* a() { return std::fopen("a", "r"); }
modem/link|files|openat|int a() { return openat(0, "a", 0); }
common|files|fstatat|int a() { return fstatat(0, "a", nullptr, 0); }
common|files|mkostemp|auto* a = mkostemp;
services|files|opendir|void* a() { return opendir("a"); }
services|files|filesystem|std::filesystem::path a;
carrier|files|ifstream|std::ifstream a;
carrier/package|files|xmlReadFile|void* a() { return xmlReadFile("a", nullptr, 0); }
services|home|system|int a() { return system("reboot"); }
dispatch|home|usleep|void a() { usleep(5); }
dispatch|home|popen|void* a() { return ::popen("a", "r"); }
devices|threads|fork|int a() { return fork(); }
devices|threads|execvp|int a() { return execvp("a", nullptr); }
devices|threads|posix_spawn|int a() { return posix_spawn(nullptr, "a"); }
modem|threads|pthread_create|auto* a = pthread_create;
modem|properties|property_get|int a() { return property_get("a", nullptr, ""); }
dispatch|properties|property_set|int a() { return property_set("a", "b"); }
devices|items|get_ftm_item|int a() { return get_ftm_item(1, 1, nullptr); }
carrier|items|set_ftm_item|int a() { return set_ftm_item(1, 1, nullptr); }
dispatch|throws|throw|void a() { throw 1; }
carrier|throws|stoi|int a(const char* text) { return std::stoi(text); }
carrier|throws|.at|int a(const Text& text) { return text.at(1); }
tools|owners|fclose|void a(FILE* file) { fclose(file); }
tools|owners|std::free|void a(char* text) { std::free(text); }
common|owners|delete|void a(int* b) { delete b; }
common|owners|delete|void a(int* b) { delete[] b; }
devices|owners|new (std::nothrow) only into one|auto* a = new Thing;
devices|owners|new (std::nothrow) only into one|int* a() { return new int; }
devices|owners|new (std::nothrow) only into one|int* a() { return new (std::nothrow) int; }
virtual_phone/core|owners|new (std::nothrow) only into one|std::unique_ptr<int> a(new int);
END
plant common '#ifdef __ANDROID__' 'only platform/ knows which home it is in: __ANDROID__'
plant services 'void* a() { return malloc(5); }' 'memory has owners: malloc'
plant modem 'void a() { static_cast<void>(b()); }' "$dropped"
plant modem '// Why.\n\nvoid a() { (void)b(); }' "$dropped" planted.cpp 3
plant modem 'std\n    ::thread a;' "$threads: std::thread" planted_thread.cpp 2

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

report() { # what scripts/check says, which must be that there are offences
  if scripts/check >reported; then
    echo 'scripts/check is content with a tree that has offences'
    exit 1
  fi
}
failures=0
report
for line in "${expected[@]}"; do
  grep -qxF -- "$line" reported || { echo "not reported: $line"; failures=1; }
done
# Of the files that were planted nothing else is said, but that their layout is another.
printf '%s\n' "${expected[@]}" >expected
if grep '/planted[^ ]*:' reported | grep -v 'clang-format -i' | grep -vxFf expected; then
  echo 'was not to be reported'
  failures=1
fi

echo 'int   a;' >ftm/planted_layout.cpp
mkdir tests/planted
seq -f 'int a%.0f;' 20000 >tests/planted/long.cpp
report
for line in 'ftm/planted_layout.cpp:1: clang-format -i decides layout' \
  'tests:0: [0-9]* of [0-9]* lines are tests, [0-9.]*%: at most a third may be'; do
  grep -qx "$line" reported || { echo "not reported: $line"; failures=1; }
done
exit $failures
