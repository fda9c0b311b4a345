#!/usr/bin/env bash
# Runs a Windows test binary under Wine with its heap checking on and the BSTR cache off, so
# that a double free or a write to freed memory inside COM shows up. Fails when the binary
# fails or when Wine reports anything about the heap.
#   scripts/run-wine-test.sh PREFIX EXE [ARGS...]
set -uo pipefail
prefix=$1
shift
mkdir -p "$prefix"
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# A run that does not end within the limit has hung: it fails rather than holding CI.
WINEPREFIX="$prefix" WINEDEBUG=warn+heap OANOCACHE=1 timeout 900 /usr/lib/wine/wine64 "$@" \
  2> >(tee "$log" >&2)
status=$?
wait
if [ "$status" -ne 0 ]; then
  echo "run-wine-test: $1 exited with $status" >&2
  exit "$status"
fi
# Wine's heap checker speaks in ":heap:" channel lines; its BSTR cache in SysFreeString's.
if grep -E ':heap:|SysFreeString' "$log" >/dev/null; then
  echo "run-wine-test: Wine reported heap problems:" >&2
  grep -E ':heap:|SysFreeString' "$log" | sort | uniq -c | head -20 >&2
  exit 1
fi
