#!/usr/bin/env bash
# Makes a source of a public header alone and the example in its first comment: example.sh HEADER SOURCE
set -euo pipefail
header=$1 source=$2
mkdir -p "${source%/*}"
awk -v header="$header" '
  !/^\/\// { exit }
  inside && /^\/\/   #include/ { includes = includes substr($0, 6) "\n"; next }
  inside && /[^\/ ]/ { code = code substr($0, 6) "\n" }
  /^\/\/ Example:$/ { inside = 1 }
  END {
    if (code == "") {
      print header " has no example in its first comment" >"/dev/stderr"
      exit 1
    }
    sub(/.*\//, "", header)
    printf "#include \"fcx/%s\"\n%s\nvoid example();\nvoid example() {\n%s}\n", header, includes, code
  }' "$header" >"$source.made"
mv "$source.made" "$source"
