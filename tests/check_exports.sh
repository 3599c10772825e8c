#!/usr/bin/env bash
# Every symbol that the library shows is declared in a public header: check_exports.sh NM LIBRARY HEADERS
set -euo pipefail
nm=$1 library=$2 headers=$3
names=$("$nm" -DC --defined-only "$library" | sed -E 's/^[0-9a-f]* . //; s/\(.*//; s/.*:://; s/^~//' | sort -u)
[ -n "$names" ] || { echo "no symbol found in $library"; exit 1; }
hidden=0
for name in $names; do
  grep -qrw -- "$name" "$headers" || { echo "shown but not declared: $name"; hidden=1; }
done
# And the other way round: what the item table names can be called.
for accessor in get_qem set_qem get_midauto_crc_list qve_factory_sku_read service_handler; do
  grep -qx "$accessor" <<<"$names" || { echo "declared but not shown: $accessor"; hidden=1; }
done
exit $hidden
