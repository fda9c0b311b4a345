#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang-format
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libpugixml-dev nlohmann-json3-dev libcli11-dev
  g++-mingw-w64-x86-64 wine64
)

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi

export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${packages[@]}" >/dev/null
