#!/usr/bin/env bash
# The product tool carries no test double: copied alone with quorvane.dll into a fresh prefix,
# without quorvane_simhost.dll, it starts and reaches the system's WMI (Wine's, which has no
# Hyper-V namespace), and --scenario says which DLL it needs instead of failing to load.
#   check-windows-tool-alone.sh BUILD-WINDOWS
set -euo pipefail
build=$(cd "$1" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir "$scratch/tool"
cp "$build/bin/quorvane.exe" "$build/bin/quorvane.dll" "$scratch/tool/"

fail() {
  echo "check-windows-tool-alone: $1" >&2
  exit 1
}

run() {
  local said
  said=$(LC_ALL=C.UTF-8 WINEPREFIX="$scratch/prefix" WINEDEBUG=warn+heap OANOCACHE=1 \
    timeout 300 /usr/lib/wine/wine64 "$scratch/tool/quorvane.exe" "$@" 2>&1 | tr -d '\r' || true)
  if grep -qE ':heap:|SysFreeString' <<<"$said"; then
    fail "Wine reported heap problems running quorvane.exe $*"
  fi
  grep -vE '^([0-9a-f]{4}:(err|fixme|warn|trace):|wine: |$)' <<<"$said" || true
}

# 0x8004100E: the namespace is not there, as on a machine without Hyper-V.
machines=$(run machines)
grep -q "^quorvane: 0x8004100E " <<<"$machines" || fail "without --scenario: $machines"
scenario=$(run --scenario 'Z:\nowhere.json' machines)
[ "$scenario" = "quorvane: --scenario needs the simulated host: quorvane_simhost.dll was not found beside quorvane.exe" ] ||
  fail "with --scenario: $scenario"
echo "check-windows-tool-alone: the tool runs without the simulated host"
