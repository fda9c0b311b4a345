#!/usr/bin/env bash
# Runs the Windows build of the tool under Wine, with its heap checking on, as the cases'
# runner runs the native one: the tool's own stdout and stderr (Wine's lines left out, line
# ends as on Linux) and its exit code. A heap warning from Wine is printed, so the case fails.
#   QUORVANE_WINE_PREFIX=PREFIX QUORVANE_WINDOWS_TOOL=EXE wine-tool.sh ARGS...
set -uo pipefail
out=$(mktemp)
err=$(mktemp)
trap 'rm -f "$out" "$err"' EXIT
# Wine reads the Unix command line in the Unix locale: a UTF-8 one carries any name.
LC_ALL=C.UTF-8 WINEPREFIX="$QUORVANE_WINE_PREFIX" WINEDEBUG=warn+heap OANOCACHE=1 \
  timeout 300 /usr/lib/wine/wine64 "$QUORVANE_WINDOWS_TOOL" "$@" >"$out" 2>"$err"
status=$?
tr -d '\r' <"$out"
if grep -E ':heap:|SysFreeString' "$err" >/dev/null; then
  echo "Wine reported heap problems" >&2
fi
tr -d '\r' <"$err" | grep -vE '^([0-9a-f]{4}:(err|fixme|warn|trace):|$)' >&2
exit "$status"
