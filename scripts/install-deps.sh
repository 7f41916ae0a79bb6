#!/usr/bin/env bash
# Installs the Debian packages the build needs, skipping those already present.
# Runs apt as root, through sudo where available, or prints the command to run.
set -euo pipefail

PKGS=(cmake ninja-build g++ make pkg-config clang clang-format libclang-rt-14-dev
      libpng-dev libjpeg62-turbo-dev libtbb-dev libhwy-dev libeigen3-dev
      libgtest-dev libbenchmark-dev
      python3-dev pybind11-dev python3-numpy python3-pytest
      python3-dask python3-distributed)

missing=()
for p in "${PKGS[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  SUDO=""
elif command -v sudo >/dev/null 2>&1; then
  SUDO="sudo"
else
  echo "Missing packages: ${missing[*]}" >&2
  echo "Run as root: apt-get update && apt-get install -y ${missing[*]}" >&2
  exit 1
fi

echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
if ! $SUDO apt-get install -y --no-install-recommends "${missing[@]}"; then
  $SUDO apt-get update
  $SUDO apt-get install -y --no-install-recommends "${missing[@]}"
fi
