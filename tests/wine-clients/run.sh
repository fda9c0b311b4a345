#!/usr/bin/env bash
# Clients no one here wrote talk to the simulated host in a fresh Wine prefix: Wine's cscript runs
# VBScript in the style of the published Hyper-V WMI samples against the scenario that
# QUORVANE_SCENARIO names, and its transcript must equal the kept one. Other namespaces, and a
# process without the variable, reach Wine's own WMI.
#   tests/wine-clients/run.sh WINDOWS_BUILD_DIR [--regenerate]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(realpath "$1")
work="$build/wine-clients"
rm -rf "$work" && mkdir -p "$work"
export WINEPREFIX="$work/prefix" WINEDEBUG=-all
wine=/usr/lib/wine/wine64
windows_path() { echo "Z:${1//\//\\}"; }
"$wine" wineboot --init >/dev/null 2>&1
"$wine" regsvr32 /s "$(windows_path "$build/bin/quorvane_simhost.dll")"
cp "$here/../../examples/scenarios/lab.json" "$work/host.json"

# run NAME SCRIPT [QUORVANE_SCENARIO]: the script's transcript, carriage returns dropped.
run() {
  local name=$1 script=$2
  QUORVANE_SCENARIO="${3:-}" "$wine" cscript //nologo "$(windows_path "$here/$script")" \
    2>/dev/null | tr -d '\r' >"$work/$name.txt" || true
}
run list-machines list-machines.vbs "$(windows_path "$work/host.json")"
run list-machines-again list-machines.vbs "$(windows_path "$work/host.json")"
run system-namespace system-namespace.vbs "$(windows_path "$work/host.json")"
run without-scenario list-machines.vbs

if [ "${2:-}" = --regenerate ]; then
  cp "$work/list-machines.txt" "$here/list-machines.expected"
fi
diff -u "$here/list-machines.expected" "$work/list-machines.txt"
# A second process goes on from the host the first one left: the same machines.
diff -u "$here/list-machines.expected" "$work/list-machines-again.txt"
grep -q '^operating system: ' "$work/system-namespace.txt"
if grep -q 'machines' "$work/without-scenario.txt"; then
  echo "wine-clients: a process without QUORVANE_SCENARIO reached the simulated host" >&2
  exit 1
fi
# Every served call moves the scenario's clock on, and the file keeps where it stood.
grep -q '"clockMs"' "$work/host.json"
"$wine" regsvr32 /u /s "$(windows_path "$build/bin/quorvane_simhost.dll")"
echo "wine-clients: cscript listed the scenario's machines twice as kept; other namespaces and" \
  "other processes reached Wine's WMI"
