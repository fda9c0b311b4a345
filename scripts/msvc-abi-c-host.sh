#!/usr/bin/env bash
# Builds the C interface's test program for Microsoft's ABI (clang for x86_64-pc-windows-msvc,
# lld-link, Wine's C runtime import libraries) against the import libraries of a Windows build,
# runs it under Wine with heap checking, and compares its call logs with the native run's.
#   scripts/msvc-abi-c-host.sh WINDOWS_BUILD_DIR NATIVE_BUILD_DIR
set -euo pipefail
windows_build=$(realpath "$1")
native_build=$(realpath "$2")
cd "$(dirname "$0")/.."
bin="$windows_build/bin"
wine_libs=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows
objects="$windows_build/msvc-abi-c-host"
rm -rf "$objects" && mkdir -p "$objects"

for source in tests/c/c_interface_test.c tests/c/c_call_log.c tests/c/c_fault_sweep.c; do
  clang -target x86_64-pc-windows-msvc -fms-extensions -nostdinc -std=c11 \
    -Wall -Wextra -Werror -Wno-pragma-pack \
    -isystem "$(clang -print-resource-dir)/include" \
    -isystem /usr/include/wine/wine/msvcrt -isystem /usr/include/wine/wine/windows \
    -D_UCRT -Iinclude -I"$windows_build/include" \
    -c "$source" -o "$objects/$(basename "$source" .c).obj"
done
lld-link /nologo /out:"$bin/quorvane_c_tests_msvc.exe" /subsystem:console \
  /entry:mainCRTStartup /nodefaultlib "$objects"/*.obj \
  "$bin/quorvane.lib" "$bin/quorvane_simhost.lib" \
  "$wine_libs/libucrtbase.a" "$wine_libs/libkernel32.a" "$wine_libs/libole32.a"
echo "msvc-abi host: built with clang for x86_64-pc-windows-msvc and lld-link"

prefix="$windows_build/wineprefix"
scripts/run-wine-test.sh "$prefix" "$bin/quorvane_c_tests_msvc.exe" --sweep
rm -rf "$objects/call-logs" "$native_build/c-call-logs"
mkdir -p "$objects/call-logs" "$native_build/c-call-logs"
QUORVANE_CALL_LOG_DIR="$native_build/c-call-logs" "$native_build/tests/quorvane_c_tests"
QUORVANE_CALL_LOG_DIR="$objects/call-logs" \
  scripts/run-wine-test.sh "$prefix" "$bin/quorvane_c_tests_msvc.exe"
scripts/compare-call-logs.sh "$native_build/c-call-logs" "$objects/call-logs"
