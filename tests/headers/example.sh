#!/usr/bin/env bash
# Makes a source of a public header alone and the example in its first comment: example.sh HEADER SOURCE
set -euo pipefail
header=$1 source=$2
example=$(awk '!/^\/\// { exit } inside { print substr($0, 6) } /^\/\/ Example:$/ { inside = 1 }' "$header")
includes=$(grep '^#include' <<<"$example" || true)
code=$(grep -v '^#include' <<<"$example" || true)
[ -n "${code//[[:space:]]/}" ] || { echo "$header has no example in its first comment" >&2; exit 1; }
mkdir -p "${source%/*}"
cat >"$source.made" <<END_OF_SOURCE
#include "fcx/${header##*/}"
$includes

void example();
void example() {
$code
}
END_OF_SOURCE
mv "$source.made" "$source"
