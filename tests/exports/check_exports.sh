#!/usr/bin/env bash
# Every symbol that the library shows is declared in a public header: check_exports.sh NM LIBRARY HEADERS
set -euo pipefail
nm=$1 library=$2 headers=$3
# The address checks mark a variable with a symbol of their own; a class with a virtual function has tables.
names=$("$nm" -DC --defined-only "$library" |
  sed -E 's/^[0-9a-f]* . //; /^__odr_asan\./d; s/\(.*//; s/^(vtable|typeinfo|typeinfo name) for //; s/\[abi:.*//; s/.*:://; s/^~//' | sort -u)
[ -n "$names" ] || { echo "no symbol found in $library"; exit 1; }
hidden=0
for name in $names; do
  grep -qrw -- "$name" "$headers" || { echo "shown but not declared: $name"; hidden=1; }
done
# And the other way round: the entry, and every accessor that the item table names, can be called.
accessors=$(sed -nE 's/^FCX_ITEM\(//p' "$headers/factory_items.def" |
  awk -F', *' '{for (i = 6; i < 10; i += 2) if ($i ~ /^(flag|text|raw|own) *$/) print $(i + 1)}')
[ -n "$accessors" ] || { echo "no accessor found in the item table"; exit 1; }
for accessor in service_handler $accessors; do
  grep -qx "$accessor" <<<"$names" || { echo "declared but not shown: $accessor"; hidden=1; }
done
exit $hidden
