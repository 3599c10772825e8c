#!/usr/bin/env bash
# scripts/mutate changes what it says, and tells which changes and which syncs no test notices, in a small project.
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/project/common"
cd "$work/project"
cp -r "$root/scripts" .
rm scripts/equal_mutants.txt
cat >common/limit.cpp <<'END'
#include <unistd.h>
static_assert(sizeof(int) >= 4, "no > and no text of this");
enum class Day { work, rest };
constexpr int kNumbers[] = {int{'1'}, int{'2'}, int{'3'}};  // 1 > 2
// One line for each kind of change.
int late(int hour, Day day) { return day == Day::rest ? 0 : hour > 17; }
void fill(int* values, int from, int to) {
  while (from < to && !values[from]) values[from++] = kNumbers[2];
}
int wait(int a, int b) {
  for (int i = 0; i < 3; ++i) wait(a, b);
  return -1;
}
const char* said() { return "said\n"; }
bool is_kept(int fd) {
  if (fsync(fd) != 0) return false;
  return fsync(fd) == 0;
}
END
cat >test.cpp <<'END'
enum class Day { work, rest };
int late(int, Day);
bool is_kept(int);
int main() { return late(18, Day::work) == 1 && late(9, Day::work) == 0 && late(9, Day::rest) == 0 && !is_kept(-1) ? 0 : 1; }
END
cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.22)
project(small LANGUAGES CXX)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_STANDARD 17)
enable_testing()
add_library(fcx_common SHARED common/limit.cpp)
set_target_properties(fcx_common PROPERTIES VERSION 0.1 SOVERSION 0)
add_executable(late test.cpp)
target_link_libraries(late fcx_common)
add_test(NAME late COMMAND late)
END
cat >CMakePresets.json <<'END'
{"version": 3, "configurePresets": [{"name": "host", "generator": "Ninja", "binaryDir": "${sourceDir}/build/host"}]}
END
echo /build/ >.gitignore
git init -q .
git add .
git -c user.name=test -c user.email=test@localhost commit -qm begin

failures=0
expect() { # STATUS COMMAND...: how it ends, and what it prints is what is given here
  local wanted=$1 status=0
  shift
  "$@" >"$work/printed" 2>"$work/complained" || status=$?
  if ! diff - <(sed -E 's/, [0-9]+ s\.$//' "$work/printed") >"$work/differs" || [ "$status" != "$wanted" ]; then
    printf '%s: status %s\n%s\n' "$*" "$status" "$(cat "$work/complained" "$work/differs")"
    failures=1
  fi
}

# Neither comments nor what only the compiler reads is changed.
by_line() { # all changes of a line in one
  scripts/mutate --list --in "$1" | sed -E 's/^[^:]*:([0-9]+): /\1 /' |
    awk '{ printf $1 == last ? " | " : (last ? "\n" : "") $1 ": "; last = $1; sub(/^[0-9]+ /, ""); printf "%s", $0 } END { print "" }'
}
expect 0 by_line common/limit.cpp <<'END'
4: int{'1'} left out | '1' -> '~' | int{'2'} left out | '2' -> '~' | int{'3'} left out | '3' -> '~'
6: return day == Day::rest ? 0 : hour > 17 -> its opposite | return day == Day::rest ? 0 : hour > 17 -> {} | == -> != | Day::rest -> work | 0 -> 1 | ? 0 : hour > 17 exchanged | > -> <= | > -> >= | 17 -> 16 | 17 -> 18
8: while never (from < to && !values[from]) | < -> <= | < -> >= | && -> || | ! dropped | values[from++] = kNumbers[2]; dropped | 2 -> 1 | 2 -> 3
11: 0 -> 1 | for always (i < 3) | < -> <= | < -> >= | 3 -> 2 | 3 -> 4 | wait() without a bound | wait(a, b); dropped | a, b exchanged
12: return -1 -> its opposite | return -1 -> {} | -1 -> 1 | 1 -> 0 | 1 -> 2
14: return "said\n" -> {} | "said\n" -> "said" | "said\n" -> "said\n~"
16: if not (fsync(fd) != 0) | if never (fsync(fd) != 0) | != -> == | 0 -> 1 | false -> true
17: return fsync(fd) == 0 -> its opposite | return fsync(fd) == 0 -> {} | == -> != | 0 -> 1
END

# Of a change its own lines, committed or not. One that nothing can tell from the original is named; an entry whose
# line is gone is told.
sed -i 's/hour > 17/hour > 16/; s/-1/-2/' common/limit.cpp
cat >scripts/equal_mutants.txt <<'END'
# The limit.
file: common/limit.cpp
line: int late(int hour, Day day) { return day == Day::rest ? 0 : hour > 16; }
change: > -> >=
why: nobody asks at 16

file: common/limit.cpp
line: int late(int hour, Day day) { return day == Day::rest ? 0 : hour > 17; }
change: 17 -> 18
why: it was so
END
expect 1 scripts/mutate --change HEAD --seed 1 <<'END'
common/limit.cpp:6: no test notices: 16 -> 15
    int late(int hour, Day day) { return day == Day::rest ? 0 : hour > 16; }
common/limit.cpp:6: no test notices: 16 -> 17
    int late(int hour, Day day) { return day == Day::rest ? 0 : hour > 16; }
common/limit.cpp:12: no test executes it: -2 -> 2
    return -2;
common/limit.cpp:12: no test executes it: 2 -> 1
    return -2;
common/limit.cpp:12: no test executes it: 2 -> 3
    return -2;
common/limit.cpp:12: no test executes it: return -2 -> its opposite
    return -2;
common/limit.cpp:12: no test executes it: return -2 -> {}
    return -2;

common/limit.cpp:6: named as equal: > -> >=
    nobody asks at 16

scripts/equal_mutants.txt: no longer applies: common/limit.cpp: 17 -> 18
    int late(int hour, Day day) { return day == Day::rest ? 0 : hour > 17; }

Killed by operator: choice 1 of 1, comparison or arithmetic 2 of 2, enumerator 1 of 1, number 1 of 5, return 2 of 4, sign 0 of 1.
Killed by suite, the most: late 7.
Not counted: 0 that do not compile, 0 of which the compiler makes the same, 1 named as equal.
Seed 1: 14 changes, 7 killed (0 of them had no end), 7 survived (5 of them on lines that no test executes): 50.0% killed
END
expect 1 scripts/mutate --syncs <<'END'
common/limit.cpp:16                      NO TEST FAILS, of 1 that execute it
    fsync(fd) does nothing
common/limit.cpp:17                      NO TEST EXECUTES IT
    fsync(fd) does nothing

2 syncs: a test fails without 0 of them, 2 could be left out unnoticed.
END
sed -i '/fsync(fd) != 0/d' common/limit.cpp
expect 0 scripts/mutate --syncs <<'END'
common/limit.cpp:16                      late
    fsync(fd) does nothing

1 syncs: a test fails without 1 of them, 0 could be left out unnoticed.
END
expect 2 scripts/mutate --in services </dev/null
if git status --short | grep -v -e ' common/limit.cpp$' -e ' scripts/'; then
  echo 'was left behind'
  failures=1
fi
exit $failures
