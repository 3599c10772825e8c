#!/usr/bin/env bash
# lives_test.sh log: the same seed gives the same log to the byte, in every build. lives_test.sh FROM-TO: lives of these
# seeds, in which nothing is wrong. $FCX_TOOL is the command that runs the tool.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
if [ "$1" != log ]; then
  exec "$here/../../scripts/simulate" "$1" 14
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for again in 1 2; do
  $FCX_TOOL simulate --seed 1 --days 3 --log "$work/$again.log" >/dev/null
done
cmp "$work/1.log" "$work/2.log"
diff "$here/seed-1.log" "$work/1.log" ||
  { echo "when lives are to be drawn otherwise: fcx simulate --seed 1 --days 3 --log tests/simulation/seed-1.log" >&2; exit 1; }
