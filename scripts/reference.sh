#!/usr/bin/env bash
# Builds the HTML reference of the public headers with Doxygen into BUILD_DIR/reference (BUILD_DIR
# defaults to build, which must be configured: it holds the generated version header). Fails on
# any Doxygen warning, an undocumented public member among them.
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir="${1:-build}"
version=$(sed -n 's/^project(quorvane VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export QUORVANE_VERSION="$version"
export QUORVANE_REFERENCE_OUTPUT="$build_dir/reference"
export QUORVANE_BUILD_INCLUDE="$build_dir/include"
export QUORVANE_VERSION_HEADER="$build_dir/include/quorvane/version.h"
rm -rf "$QUORVANE_REFERENCE_OUTPUT"
mkdir -p "$QUORVANE_REFERENCE_OUTPUT"
doxygen docs/Doxyfile
echo "reference: $QUORVANE_REFERENCE_OUTPUT/html/index.html"
