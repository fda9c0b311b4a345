#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for SECONDS (default 20) on a copy of
# its seed corpus; the corpus in the repository is not changed. A crash stops the run and
# leaves its input in build-fuzz/crashes/<target>/.
#   scripts/fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-20}"
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(embedded_instance datetime wql object_path instance_text scenario)
fi

CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DQUORVANE_BUILD_FUZZERS=ON -DQUORVANE_BUILD_TESTS=OFF -DQUORVANE_BUILD_EXAMPLES=OFF \
  -DQUORVANE_BUILD_CLI=OFF -DQUORVANE_BUILD_BENCHMARKS=OFF -DQUORVANE_INSTALL=OFF >/dev/null
targets_built=("${targets[@]/#/quorvane_}")
cmake --build build-fuzz --parallel "$(nproc)" --target "${targets_built[@]/%/_fuzzer}"

for target in "${targets[@]}"; do
  work="build-fuzz/corpus/$target"
  crashes="build-fuzz/crashes/$target"
  log="build-fuzz/$target.log"
  rm -rf "$work" && mkdir -p "$work" "$crashes"
  cp "fuzz/corpus/$target"/* "$work"/
  status=0
  UBSAN_OPTIONS=print_stacktrace=1 "build-fuzz/fuzz/${target}_fuzzer" "$work" \
    -max_total_time="$seconds" -max_len=65536 -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix="$crashes/" -print_final_stats=1 >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  coverage=$(grep -E "^#[0-9]+[[:space:]]+DONE" "$log" | grep -oE "cov: [0-9]+ ft: [0-9]+" || true)
  echo "$target: ${seconds}s, ${runs:-?} runs, ${coverage:-no coverage line}"
  if [ "$status" -ne 0 ]; then
    tail -n 40 "$log" >&2
    echo "$target: the fuzzer found a failure; its input is in $crashes" >&2
    exit 1
  fi
done
