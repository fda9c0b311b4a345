#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need.
set -euo pipefail

packages=(
  cmake ninja-build g++ clang libclang-rt-dev clang-format doxygen python3 pkg-config
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  libpugixml-dev nlohmann-json3-dev libcli11-dev
  g++-mingw-w64-x86-64 wine64 wine64-tools lld llvm
  python3-pytest python3-pip python3-setuptools python3-wheel
)

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  sudo_cmd=(sudo)
fi

export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${packages[@]}" >/dev/null

# pugixml's source, for the simulated host of the Windows build: Debian ships it for MinGW only
# as source. The source archive is the one the machine's own package sources name.
pugixml_dir=build-deps/pugixml
if [ ! -f "$pugixml_dir/src/pugixml.cpp" ]; then
  source_list=/etc/apt/sources.list.d/quorvane-debian-sources.sources
  if ! apt-get source --print-uris pugixml >/dev/null 2>&1; then
    if [ -f /etc/apt/sources.list.d/debian.sources ]; then
      sed 's/^Types: deb$/Types: deb-src/' /etc/apt/sources.list.d/debian.sources |
        "${sudo_cmd[@]}" tee "$source_list" >/dev/null
    else
      grep -h '^deb ' /etc/apt/sources.list | sed 's/^deb /deb-src /' |
        "${sudo_cmd[@]}" tee /etc/apt/sources.list.d/quorvane-debian-sources.list >/dev/null
    fi
    "${sudo_cmd[@]}" apt-get update -qq
  fi
  download=$(mktemp -d)
  (cd "$download" && apt-get source --download-only -qq pugixml >/dev/null 2>&1)
  mkdir -p "$pugixml_dir"
  tar xzf "$download"/pugixml_*.orig.tar.gz -C "$pugixml_dir" --strip-components=1
  rm -rf "$download"
fi
