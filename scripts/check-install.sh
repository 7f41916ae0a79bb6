#!/usr/bin/env bash
# Installs the Release build into a scratch prefix, runs the installed tarvo
# tool without any library path set, and builds a small program against the
# installed library twice: through the CMake package and through pkg-config.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cmake --install "$BUILD" --prefix "$tmp/prefix" >/dev/null
# The tool must find its library through its own run path.
env -u LD_LIBRARY_PATH "$tmp/prefix/bin/tarvo" --version
cmake -S tests/install -B "$tmp/app" -G Ninja -DCMAKE_PREFIX_PATH="$tmp/prefix" >/dev/null
cmake --build "$tmp/app" >/dev/null
"$tmp/app/app" data/coffee.png "$tmp/edges-cmake.png"
export PKG_CONFIG_PATH="$tmp/prefix/lib/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++17 tests/install/app.cpp $(pkg-config --cflags --libs tarvoip) -o "$tmp/app-pc"
LD_LIBRARY_PATH="$tmp/prefix/lib" "$tmp/app-pc" data/coffee.png "$tmp/edges-pc.png"
cmp "$tmp/edges-cmake.png" "$tmp/edges-pc.png"
echo "install check passed"
