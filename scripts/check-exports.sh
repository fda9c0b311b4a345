#!/usr/bin/env bash
# Checks that the DLL exports every entry point, in its plain and its mangled form, and the
# exception classes' members.
set -euo pipefail
dll="$1"
exports=$(x86_64-w64-mingw32-objdump -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p')
expected=(
  CreateQuorvaneFactory CreateQuorvaneLocal CreateQuorvaneRemote GetExceptionInfo
  IsChangeTrackingUnusable _ZN8quorvane24IsChangeTrackingUnusableERKNS_16DefaultExceptionE
  _ZN8quorvane21CreateQuorvaneFactoryEv
  _ZN8quorvane19CreateQuorvaneLocalEv
  _ZN8quorvane20CreateQuorvaneRemoteEPKwS1_S1_
  _ZN8quorvane16GetExceptionInfoEPKNS_16DefaultExceptionEPjPPKw
  _ZN8quorvane16DefaultExceptionC1EjPKw
  _ZN8quorvane16DefaultExceptionC1ERKS0_
  _ZN8quorvane16DefaultExceptionD1Ev
  _ZNK8quorvane16DefaultException12GetErrorCodeEv
  _ZNK8quorvane16DefaultException21GetMessageDescriptionEv
  _ZN8quorvane23ObjectNotFoundExceptionC1EjPKw
  _ZN8quorvane19VmNotFoundExceptionC1EjPKw
  _ZN8quorvane22CannotConnectExceptionC1EjPKw
  _ZN8quorvane21AccessDeniedExceptionC1EjPKw
  _ZN8quorvane23HyperVNotFoundExceptionC1EjPKw
)
# And every function of the module-definition file: the C interface.
def="$(dirname "$0")/../src/quorvane.def"
while read -r name; do
  expected+=("$name")
done < <(sed -n '/^EXPORTS/,$p' "$def" | tail -n +2 | awk '{print $1}')
missing=0
for name in "${expected[@]}"; do
  if ! grep -qE "\] ${name}\$" <<<"$exports"; then
    echo "missing export: $name"
    missing=1
  fi
done
[ "$missing" -eq 0 ] && echo "exports: all ${#expected[@]} entry points present in $(basename "$dll")"
exit "$missing"
