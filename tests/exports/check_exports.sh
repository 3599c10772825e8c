#!/usr/bin/env bash
# Every symbol that the library shows is declared in a public header, and none but the variables can be
# replaced from outside: check_exports.sh NM READELF LIBRARY HEADERS INTERPOSABLE
set -euo pipefail
nm=$1 readelf=$2 library=$3 headers=$4 interposable=$5
# The address checks mark a variable with a symbol of their own; a class with a virtual function has tables.
names=$("$nm" -DC --defined-only "$library" |
  sed -E 's/^[0-9a-f]* . //; /^__odr_asan\./d; s/\(.*//; s/^(vtable|typeinfo|typeinfo name) for //; s/\[abi:.*//; s/.*:://; s/^~//' | sort -u)
[ -n "$names" ] || { echo "no symbol found in $library"; exit 1; }
# What minizip publishes in zip.h, unzip.h and ioapi.h.
published='
  zipClose zipCloseFileInZip zipCloseFileInZipRaw zipCloseFileInZipRaw64 zipOpen zipOpen2 zipOpen2_64 zipOpen64
  zipOpenNewFileInZip zipOpenNewFileInZip2 zipOpenNewFileInZip2_64 zipOpenNewFileInZip3 zipOpenNewFileInZip3_64
  zipOpenNewFileInZip4 zipOpenNewFileInZip4_64 zipOpenNewFileInZip64 zipRemoveExtraInfoBlock zipWriteInFileInZip
  unzClose unzCloseCurrentFile unzGetCurrentFileInfo unzGetCurrentFileInfo64 unzGetCurrentFileZStreamPos64
  unzGetFilePos unzGetFilePos64 unzGetGlobalComment unzGetGlobalInfo unzGetGlobalInfo64 unzGetLocalExtrafield
  unzGetOffset unzGetOffset64 unzGoToFilePos unzGoToFilePos64 unzGoToFirstFile unzGoToNextFile unzLocateFile
  unzOpen unzOpen2 unzOpen2_64 unzOpen64 unzOpenCurrentFile unzOpenCurrentFile2 unzOpenCurrentFile3
  unzOpenCurrentFilePassword unzReadCurrentFile unzSetOffset unzSetOffset64 unzStringFileNameCompare unzeof
  unztell unztell64
  call_zopen64 call_zseek64 call_ztell64 fill_fopen64_filefunc fill_fopen_filefunc
  fill_zlib_filefunc64_32_def_from_filefunc32'
hidden=0
# Of the standard library nothing is shown, whatever words it has in common with the headers.
standard='^_Z(T[CHISTVW]|T[chv][hnv0-9_]+_|G[RV]|Z)*(N[KORVr]*)?(S[abdiost]|9__gnu_cxx)'
if "$nm" -DP --defined-only "$library" | grep -E "$standard"; then
  echo 'shown of the standard library'
  hidden=1
fi
for name in $names; do
  # parson's, where the machine has it.
  [[ $published =~ [[:space:]]$name([[:space:]]|$) || $name = json_* ]] ||
    grep -qrw -- "$name" "$headers" || { echo "shown but not declared: $name"; hidden=1; }
done
# And the other way round: the entry, every accessor that the item table names, and what minizip publishes can be
# called.
accessors=$(sed -nE 's/^FCX_ITEM\(//p' "$headers/factory_items.def" |
  awk -F', *' '{for (i = 6; i < 10; i += 2) if ($i ~ /^(flag|text|raw|own) *$/) print $(i + 1)}')
[ -n "$accessors" ] || { echo "no accessor found in the item table"; exit 1; }
for accessor in service_handler $accessors $published; do
  grep -qx "$accessor" <<<"$names" || { echo "declared but not shown: $accessor"; hidden=1; }
done

# What the loader looks up by its name although the library has it: the variables, and the list has them all.
open=$(sed -nE 's/^ +(\w+);/\1/p' "$interposable" | sort)
variables=$("$nm" -D --defined-only "$library" | sed -nE 's/^[0-9a-f]+ [BDGRS] //p' | grep -Ev '^(__odr_asan|_ZT)' | sort)
diff <(echo "$open") <(echo "$variables") || { echo "$interposable has not the variables"; hidden=1; }
looked_up=$("$readelf" --relocs --wide "$library" | awk 'NF > 4 && $4 ~ /^[0-9a-f]+$/ && $4 !~ /^0+$/ { print $5 }')
for name in $looked_up; do
  grep -qx "$name" <<<"$open" || { echo "a daemon's own takes its place: $name"; hidden=1; }
done
exit $hidden
