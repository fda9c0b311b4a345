#!/usr/bin/env bash
# Builds hosts for Microsoft's ABI (clang for x86_64-pc-windows-msvc, lld-link, Wine's C runtime
# import libraries) against the import libraries of a Windows build, and runs them under Wine
# with heap checking: the C interface's test program, with its fault sweep, whose call logs must
# equal the native run's, and the header-only C++ layer's test program.
#   scripts/msvc-abi-hosts.sh WINDOWS_BUILD_DIR NATIVE_BUILD_DIR
set -euo pipefail
windows_build=$(realpath "$1")
native_build=$(realpath "$2")
cd "$(dirname "$0")/.."
bin="$windows_build/bin"
wine_libs=/usr/lib/x86_64-linux-gnu/wine/x86_64-windows
objects="$windows_build/msvc-abi-c-host"
rm -rf "$objects" && mkdir -p "$objects"

# compile COMPILER OUTPUT_DIR SOURCE FLAGS...
compile() {
  local compiler=$1 out=$2 source=$3
  shift 3
  mkdir -p "$out"
  "$compiler" -target x86_64-pc-windows-msvc -fms-extensions -nostdinc -Wall -Wextra -Werror \
    -isystem "$(clang -print-resource-dir)/include" \
    -isystem /usr/include/wine/wine/msvcrt -isystem /usr/include/wine/wine/windows \
    -D_UCRT -Iinclude -I"$windows_build/include" "$@" \
    -c "$source" -o "$out/$(basename "${source%.*}").obj"
}

# link OUTPUT_EXE OBJECT_DIR RUNTIME_LIBRARIES...
link() {
  local exe=$1 dir=$2
  shift 2
  lld-link /nologo /out:"$exe" /subsystem:console /entry:mainCRTStartup /nodefaultlib \
    "$dir"/*.obj "$bin/quorvane.lib" "$bin/quorvane_simhost.lib" "$@" \
    "$wine_libs/libkernel32.a" "$wine_libs/libole32.a"
}

for source in tests/c/c_interface_test.c tests/c/c_call_log.c tests/c/c_fault_sweep.c \
  tests/c/c_scene.c; do
  compile clang "$objects/c" "$source" -std=c11 -Wno-pragma-pack
done
link "$bin/quorvane_c_tests_msvc.exe" "$objects/c" "$wine_libs/libucrtbase.a"
for source in tests/portable/portable_test.cpp tests/portable/wine_type_info.cpp; do
  compile clang++ "$objects/cpp" "$source" -std=c++17 -fcxx-exceptions -fexceptions
done
link "$bin/quorvane_portable_tests_msvc.exe" "$objects/cpp" "$wine_libs/libucrtbase.a" \
  "$wine_libs/libvcruntime140.a"
echo "msvc-abi hosts: built with clang for x86_64-pc-windows-msvc and lld-link"

prefix="$windows_build/wineprefix"
scripts/run-wine-test.sh "$prefix" "$bin/quorvane_c_tests_msvc.exe" --sweep
rm -rf "$objects/call-logs" "$native_build/c-call-logs"
mkdir -p "$objects/call-logs" "$native_build/c-call-logs"
QUORVANE_CALL_LOG_DIR="$native_build/c-call-logs" "$native_build/tests/quorvane_c_tests"
QUORVANE_CALL_LOG_DIR="$objects/call-logs" \
  scripts/run-wine-test.sh "$prefix" "$bin/quorvane_c_tests_msvc.exe"
scripts/compare-call-logs.sh "$native_build/c-call-logs" "$objects/call-logs"
scripts/run-wine-test.sh "$prefix" "$bin/quorvane_portable_tests_msvc.exe"
