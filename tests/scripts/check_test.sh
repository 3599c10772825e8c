#!/usr/bin/env bash
# scripts/check finds each offence that it is there for.
set -u
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$root/.clang-format" "$work"
failures=0

plant() { # FILE LINE: one offence in an otherwise clean tree
  local file=$work/$1
  mkdir -p "$(dirname "$file")"
  printf '%s\n' "$2" >"$file"
  if "$root/scripts/check" "$work" >/dev/null 2>&1; then
    printf 'not found: %s: %s\n' "$1" "$2"
    failures=1
  fi
  rm "$file"
}

plant ftm/a.cpp 'int a() { return open("/dev/null", 0); }'
plant modem/a.cpp 'int a() { return unlink("a"); }'
plant common/a.cpp 'void* a() { return fopen("a", "r"); }'
plant services/a.cpp 'int a() { return system("reboot"); }'
plant dispatch/a.cpp 'void a() { usleep(5); }'
plant dispatch/a.cpp 'void a() { throw 1; }'
plant carrier/a.cpp 'int a(const char* text) { return std::stoi(text); }'
plant devices/a.cpp 'int* a() { return new Thing; }'
plant tools/a.cpp 'void a(FILE* file) { fclose(file); }'
plant common/a.h '#ifdef __ANDROID__'
plant ftm/a.h '#include "virtual_phone/core/phone.h"'
plant ftm/a.cpp 'int   a;'

printf 'int a;\n' >"$work/ftm/a.cpp"
if ! "$root/scripts/check" "$work" >/dev/null 2>&1; then
  echo 'a clean tree is refused'
  failures=1
fi
exit $failures
