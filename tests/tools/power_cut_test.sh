#!/usr/bin/env bash
# Boots that lose their power: power_cut_test.sh N [PROFILE], with $FCX_TOOL the command that runs the
# tool. N times a first start, and N times the start after a change of the SIM, is killed at a moment
# of its own; the next whole starts must decide as those of a phone that nobody has disturbed, and
# leave the same files.
set -u
read -r -a tool <<<"$FCX_TOOL"
cuts=$1
profile=${2:-open}
other_sim=89499770000000008157
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work
failures=0

# boot PHONE: a whole start, and the decision's lines.
boot() {
  "${tool[@]}" --phone "$1" boot --json >"$work/boot.json" || echo "boot failed: status $?"
  sed -n '/"decision": {/,/}/p' "$work/boot.json"
}

# The decision without what says how it came about: a start that was cut may have been the one that saw
# the SIM change, and found the carrier's client identifier for the next one.
settled() { grep -v -e sim_changed -e client_id <<<"$1"; }

# What lies in the directories that starts write to.
kept() { (cd "$1/root/mnt/vendor/persist-qv" && grep -r '' kelp property | sort); }

# A copy of a phone, as a cut leaves it: with what the database has not yet merged.
copy() {
  rm -rf "$work/phone"
  cp -r --sparse=always "$1" "$work/phone"
}

# differ WHAT EXPECTED GOT
differ() {
  [ "$2" = "$3" ] && return 0
  printf 'FAILED: %s\n' "$1"
  diff <(printf '%s\n' "$2") <(printf '%s\n' "$3")
  failures=$((failures + 1))
}

# cut_starts NAME PHONE: kills starts of copies of that phone, all over the time that one takes.
cut_starts() {
  local name=$1 phone=$2 began ended i moment expected_kept first second
  copy "$phone"
  began=$(date +%s%N)
  boot "$work/phone" >/dev/null
  ended=$(date +%s%N)
  second=$(boot "$work/phone")
  expected_kept=$(kept "$work/phone")
  for ((i = 1; i <= cuts; ++i)); do
    copy "$phone"
    moment=$(awk -v us="$(((ended - began) / 1000))" -v i="$i" -v n="$cuts" \
      'BEGIN { printf "%.6f", us * i / n / 1e6 }')
    { timeout -s KILL "$moment" "${tool[@]}" --phone "$work/phone" boot; } >/dev/null 2>&1
    first=$(boot "$work/phone")
    differ "$name, cut after $moment s: the next start" "$(settled "$second")" "$(settled "$first")"
    differ "$name, cut after $moment s: the start after it" "$second" "$(boot "$work/phone")"
    differ "$name, cut after $moment s: the files" "$expected_kept" "$(kept "$work/phone")"
  done
}

"${tool[@]}" --phone "$work/new" init --profile "$profile" >/dev/null || exit 1
cut_starts "first start" "$work/new"
cp -r --sparse=always "$work/new" "$work/used"
boot "$work/used" >/dev/null
"${tool[@]}" --phone "$work/used" sim insert "$other_sim" >/dev/null || exit 1
cut_starts "another SIM" "$work/used"

[ "$failures" -eq 0 ] && echo "decided alike after $((2 * cuts)) cuts"
exit "$((failures > 0))"
