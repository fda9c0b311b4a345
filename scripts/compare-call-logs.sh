#!/usr/bin/env bash
# Compares the call logs the public tests wrote through two bindings (QUORVANE_CALL_LOG_DIR):
# every test must have made the same calls with the same values. The logs come with their
# GUIDs already numbered by first appearance, so they compare as text.
#   scripts/compare-call-logs.sh DIRECT_DIR COM_DIR
set -euo pipefail
direct=$1
com=$2
compared=0
different=0
skipped=0
for file in "$com"/*.log; do
  name=$(basename "$file")
  if [ ! -f "$direct/$name" ]; then
    echo "compare-call-logs: $name was written through COM only" >&2
    different=$((different + 1))
    continue
  fi
  compared=$((compared + 1))
  if ! diff -u "$direct/$name" "$file" >/dev/null; then
    echo "compare-call-logs: $name differs between the bindings:" >&2
    diff -u "$direct/$name" "$file" | head -20 >&2 || true
    different=$((different + 1))
  fi
done
# A test that ran directly must have run through COM too, unless it said it was skipped there.
for file in "$direct"/*.log; do
  name=$(basename "$file" .log)
  if [ -f "$com/$name.log" ]; then
    continue
  elif [ -f "$com/$name.skipped" ]; then
    skipped=$((skipped + 1))
  else
    echo "compare-call-logs: $name.log was written by the direct run only" >&2
    different=$((different + 1))
  fi
done
echo "compare-call-logs: $compared tests compared, $different different, $skipped skipped through COM"
[ "$compared" -gt 0 ] && [ "$different" -eq 0 ]
