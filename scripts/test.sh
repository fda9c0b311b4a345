#!/usr/bin/env bash
# Sets up a fresh Debian machine and runs every test: the normal build, the sanitizer build,
# the Windows DLL under Wine, and the formatting check.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${QUORVANE_SKIP_DEPS:-0}" != 1 ]; then
  scripts/install-deps.sh
fi

jobs=$(nproc)

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --parallel "$jobs"
ctest --test-dir build --output-on-failure --parallel "$jobs"
# The public suite's call logs through the direct binding, to compare with the COM run below.
rm -rf build/call-logs && mkdir -p build/call-logs
QUORVANE_CALL_LOG_DIR="$PWD/build/call-logs" build/tests/quorvane_public_tests >/dev/null

cmake -S . -B build-sanitize -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQUORVANE_SANITIZE=ON \
  -DQUORVANE_BUILD_BENCHMARKS=OFF
cmake --build build-sanitize --parallel "$jobs"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --test-dir build-sanitize --output-on-failure --parallel "$jobs"

# The Windows DLL, cross-built with MinGW-w64 and tested under Wine in a prefix of its own.
cmake -S . -B build-windows -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake
cmake --build build-windows --parallel "$jobs"
scripts/check-exports.sh build-windows/bin/quorvane.dll
scripts/run-wine-test.sh "$PWD/build-windows/wineprefix" build-windows/bin/quorvane_windows_tests.exe
# The public suite again, through quorvane.dll's COM code against the simulated host served
# over COM; every test must make the same calls as through the direct binding.
rm -rf build-windows/call-logs && mkdir -p build-windows/call-logs
QUORVANE_CALL_LOG_DIR="$PWD/build-windows/call-logs" scripts/run-wine-test.sh \
  "$PWD/build-windows/wineprefix" build-windows/bin/quorvane_public_tests_com.exe
scripts/compare-call-logs.sh build/call-logs build-windows/call-logs

scripts/check-format.sh
