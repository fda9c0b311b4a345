#!/usr/bin/env bash
# Sets up a fresh Debian machine and runs every test: the normal build, a consumer project
# against the installed library, the Python package, the sanitizer build, the Windows DLL and
# the public suite through it under Wine, a host built for Microsoft's ABI, the ThreadSanitizer build's thread tests, the clang build, the fuzz
# targets, the reference documentation, the class table's generator and the formatting check.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${QUORVANE_SKIP_DEPS:-0}" != 1 ]; then
  scripts/install-deps.sh
fi

jobs=$(nproc)

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --parallel "$jobs"
ctest --test-dir build --output-on-failure --parallel "$jobs"
# The reliability figures: injection points of the fault sweep and the hostile-input calls.
build/tests/quorvane_public_tests --gtest_filter='FaultSweepTest.*:BadInputTest.*' |
  grep -E '^(fault sweep|plain entry point|bad input|  )'
# The reference of the public headers; any Doxygen warning, an undocumented member among them,
# fails.
scripts/reference.sh build
# A vendor's project: the library installed into a prefix, found with find_package and with
# pkg-config, and the vendor's own test against the simulated host.
rm -rf build/install build/consumer
cmake --install build --prefix build/install >/dev/null
cmake -S tests/consumer -B build/consumer -G Ninja -DCMAKE_PREFIX_PATH="$PWD/build/install"
cmake --build build/consumer
ctest --test-dir build/consumer --output-on-failure
export PKG_CONFIG_PATH="$PWD/build/install/lib/pkgconfig"
# shellcheck disable=SC2046  # the flags are words
g++ -std=c++20 tests/consumer/consumer_test.cpp $(pkg-config --cflags --libs quorvane-simulated-host) \
  -o build/consumer/pkgconfig_consumer
LD_LIBRARY_PATH="$PWD/build/install/lib" build/consumer/pkgconfig_consumer

# The Python package, installed from the checkout without a network, and its suite against the
# simulated host (the README's example among it).
# Debian's interpreter, which has the packages install-deps.sh installed, whatever else is on the
# path.
debian_python=/usr/bin/python3
rm -rf build/python
"$debian_python" -m pip install --quiet --no-build-isolation --no-index --target build/python \
  bindings/python
QUORVANE_PYTHON_INSTALLED=1 PYTHONPATH="$PWD/build/python" QUORVANE_LIBRARY_DIR="$PWD/build/src" \
  "$debian_python" -m pytest -q -p no:cacheprovider tests/python

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
# The simulated host's DLL registers into a fresh prefix with regsvr32 only under Wine, and
# regsvr32 /u leaves the prefix as it was.
scripts/check-registration.sh build-windows
# Clients no one here wrote: Wine's cscript lists the machines of the scenario that
# QUORVANE_SCENARIO names, in a fresh prefix; the transcript is kept in tests/wine-clients.
tests/wine-clients/run.sh build-windows
# The whole listing is read first: with pipefail, "grep -q" stopping early would make strings
# die of SIGPIPE and the check fail on a DLL that has the resource.
dll_strings="$(strings -el build-windows/bin/quorvane.dll)"
if ! grep -q "^ProductVersion$" <<<"$dll_strings"; then
  echo "quorvane.dll: no version resource" >&2
  exit 1
fi
scripts/run-wine-test.sh "$PWD/build-windows/wineprefix" build-windows/bin/quorvane_windows_tests.exe
# Hosts built for Microsoft's ABI (clang and lld-link, against quorvane.lib) run under Wine: the
# C interface's program and its fault sweep, whose call logs must equal the native run's, and the
# header-only C++ layer's program.
scripts/msvc-abi-hosts.sh build-windows build
# The public suite again, through quorvane.dll's COM code against the simulated host served
# over COM; every test must make the same calls as through the direct binding.
rm -rf build-windows/call-logs && mkdir -p build-windows/call-logs
QUORVANE_CALL_LOG_DIR="$PWD/build-windows/call-logs" scripts/run-wine-test.sh \
  "$PWD/build-windows/wineprefix" build-windows/bin/quorvane_public_tests_com.exe
scripts/compare-call-logs.sh build/call-logs build-windows/call-logs
# The command-line tool's cases again with its Windows build, in a prefix where nothing is
# registered: --scenario serves the scenario in the tool's own process, through quorvane.dll's
# COM code, under Wine's heap checking; the same output. Without the simulated host's DLL the
# tool still starts.
tests/cli/check-windows-tool-alone.sh build-windows
rm -rf build-windows/wineprefix-tool
WINEPREFIX="$PWD/build-windows/wineprefix-tool" /usr/lib/wine/wine64 wineboot --init >/dev/null 2>&1
QUORVANE_WINE_PREFIX="$PWD/build-windows/wineprefix-tool" \
  QUORVANE_WINDOWS_TOOL="$PWD/build-windows/bin/quorvane.exe" \
  python3 tests/cli/run_cases.py tests/cli/wine-tool.sh

# ThreadSanitizer: threads sharing one root and one simulated host, and the host's own threads.
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQUORVANE_SANITIZE_THREAD=ON \
  -DQUORVANE_BUILD_BENCHMARKS=OFF -DQUORVANE_BUILD_EXAMPLES=OFF -DQUORVANE_BUILD_CLI=OFF
cmake --build build-tsan --parallel "$jobs" --target quorvane_tests quorvane_public_tests
TSAN_OPTIONS=halt_on_error=1 build-tsan/tests/quorvane_public_tests --gtest_filter='Threads*'
TSAN_OPTIONS=halt_on_error=1 build-tsan/tests/quorvane_tests --gtest_filter='*Threads*'

# A second compiler: the whole tree builds with clang, warnings as errors.
CXX=clang++ cmake -S . -B build-clang -G Ninja -DCMAKE_BUILD_TYPE=Debug
cmake --build build-clang --parallel "$jobs"

# The parsers under libFuzzer, briefly, from their seed corpora (scripts/fuzz.sh SECONDS for
# longer runs).
scripts/fuzz.sh 20

# The simulated host's class table is exactly what its generator writes from the published
# table (which sits beside a checkout of the project's own repository, when it does).
if [ -f ../shared/hyperv-v2-schema.json ]; then
  python3 tools/gen_simhost_schema.py ../shared/hyperv-v2-schema.json \
    tools/hyperv-v2-supplement.json |
    cmp - src/simhost/hyperv-v2-classes.json
  echo "class table: regenerated byte for byte"
fi

# The planted faults (scripts/planted-faults.py runs them, on demand: it takes half an hour)
# still apply to the sources, so the list does not rot as the code changes.
python3 scripts/planted-faults.py --check --windows

scripts/check-format.sh
