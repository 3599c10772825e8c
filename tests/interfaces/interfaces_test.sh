#!/usr/bin/env bash
# The interfaces are what their hashes say: interfaces_test.sh HIDL_GEN INTERFACES ANDROID_HIDL PACKAGE...
set -euo pipefail
hidl_gen=$1 interfaces=$2 android_hidl=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# holds INTERFACES PACKAGE: hidl-gen accepts the package as it is there.
holds() {
  "$hidl_gen" -L check -R -r "vendor.qve.hardware:$1" -r "android.hidl:$android_hidl" "$2" 2>"$work/said"
}

failures=0
for package in "$@"; do
  if ! holds "$interfaces" "$package"; then
    cat "$work/said"
    failures=1
  fi
  # Every definition is frozen: one more line in it, even one that means nothing, is refused.
  folder=${package#vendor.qve.hardware.}
  folder=${folder/@/\/}
  for definition in "$interfaces/$folder"/*.hal; do
    rm -rf "$work/copy"
    cp -r "$interfaces" "$work/copy"
    echo '// changed' >>"$work/copy/$folder/$(basename "$definition")"
    if holds "$work/copy" "$package" || ! grep -q 'does not match hash' "$work/said"; then
      echo "a change was not refused: $definition"
      cat "$work/said"
      failures=1
    fi
  done
done
[ $# -gt 0 ] && exit "$failures"
