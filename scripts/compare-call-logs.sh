#!/usr/bin/env bash
# Compares the call logs the public tests wrote through two bindings (QUORVANE_CALL_LOG_DIR):
# every test must have made the same calls with the same values. GUIDs are numbered in the
# order they first appear in each file, since the library makes new ones on every run.
#   scripts/compare-call-logs.sh DIRECT_DIR COM_DIR
set -euo pipefail
direct=$1
com=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
guid='[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{12}'
normalize() {
  perl -pe 'BEGIN { $n = 0 } s{('"$guid"')}{"GUID-" . ($seen{lc $1} //= ++$n)}ge' "$1" >"$2"
}
compared=0
different=0
for file in "$com"/*.log; do
  name=$(basename "$file")
  if [ ! -f "$direct/$name" ]; then
    echo "compare-call-logs: $name was written through COM only" >&2
    different=$((different + 1))
    continue
  fi
  compared=$((compared + 1))
  normalize "$direct/$name" "$work/direct"
  normalize "$file" "$work/com"
  if ! diff -u "$work/direct" "$work/com" >"$work/diff"; then
    echo "compare-call-logs: $name differs between the bindings:" >&2
    head -20 "$work/diff" >&2
    different=$((different + 1))
  fi
done
echo "compare-call-logs: $compared tests compared, $different different"
[ "$compared" -gt 0 ] && [ "$different" -eq 0 ]
