#!/usr/bin/env bash
# Installs, on a Debian machine, the packages that building and testing need; does nothing when
# they are all present already.
set -euo pipefail

packages=(cmake g++ make libgtest-dev libgmock-dev libgmp-dev libbenchmark-dev libcgal-dev
  python3-vtk9 python3-meshio tetgen clang libclang-rt-14-dev valgrind
  python3-dev python3-venv python3-setuptools python3-wheel python3-pybind11 pybind11-dev
  python3-numpy python3-scipy python3-pytest "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${missing[@]}"
fi
