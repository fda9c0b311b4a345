#!/usr/bin/env bash
# Sets up a fresh Debian machine, builds the library and runs the main job: the backup road on
# the simulated host of examples/scenarios/lab.json, then the host listing, then defining and
# editing a machine.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${QUORVANE_SKIP_DEPS:-0}" != 1 ]; then
  scripts/install-deps.sh
fi

cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --parallel "$(nproc)" --target backup_road list_host define_and_edit
build/examples/backup_road
echo
build/examples/list_host
echo
build/examples/define_and_edit
