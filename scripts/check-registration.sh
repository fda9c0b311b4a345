#!/usr/bin/env bash
# The simulated host's DLL registered with regsvr32 into a fresh Wine prefix, and removed with
# regsvr32 /u: the prefix's WMI classes point at the DLL in between and are as they were after.
# Told it runs on Windows, the DLL refuses to register and changes nothing.
#   scripts/check-registration.sh WINDOWS_BUILD_DIR
set -euo pipefail
build=$(realpath "$1")
prefix="$build/registration-prefix"
rm -rf "$prefix"
export WINEPREFIX="$prefix" WINEDEBUG=-all
wine=/usr/lib/wine/wine64
dll="$(winepath -w "$build/bin/quorvane_simhost.dll" 2>/dev/null || echo "Z:${build//\//\\}\\bin\\quorvane_simhost.dll")"
"$wine" wineboot --init >/dev/null 2>&1
locator='HKLM\Software\Classes\CLSID\{4590F811-1D3A-11D0-891F-00AA004B2E24}'

# snapshot FILE: the served classes' keys as the registry exports them.
snapshot() {
  local out=$1
  : >"$out"
  for cls in '{4590F811-1D3A-11D0-891F-00AA004B2E24}' '{674B6698-EE92-11D0-AD71-00C04FD8FDFF}' \
    '{8D1C559D-84F0-4BB3-A7D5-56A7435A9BA6}'; do
    "$wine" reg query "HKLM\\Software\\Classes\\CLSID\\$cls" /s 2>/dev/null | tr -d '\r' >>"$out" ||
      echo "(no $cls)" >>"$out"
  done
}

snapshot "$prefix/before.txt"
if QUORVANE_SIMHOST_ASSUME_WINDOWS=1 "$wine" regsvr32 /s "$dll" 2>"$prefix/refused.txt"; then
  echo "check-registration: the DLL registered although told it runs on Windows" >&2
  exit 1
fi
grep -q "registers only in a Wine prefix" "$prefix/refused.txt"
snapshot "$prefix/refused-after.txt"
cmp -s "$prefix/before.txt" "$prefix/refused-after.txt"

"$wine" regsvr32 /s "$dll"
"$wine" reg query "$locator\\InprocServer32" /ve | tr -d '\r' | grep -qi 'quorvane_simhost.dll'
"$wine" regsvr32 /s "$dll"  # registering twice keeps what was there first
"$wine" regsvr32 /u /s "$dll"
snapshot "$prefix/after.txt"
if ! cmp -s "$prefix/before.txt" "$prefix/after.txt"; then
  echo "check-registration: the prefix differs after removal:" >&2
  diff -u "$prefix/before.txt" "$prefix/after.txt" >&2 || true
  exit 1
fi
echo "check-registration: refused as on Windows, registered, removed; the prefix is as it was"
