#!/usr/bin/env bash
# The main job: builds the optimised library and the vesk3d command, then triangulates the
# built-in default input (200,000 random points) into mesh.vtu, or whatever arguments say.
set -euo pipefail
cd "$(dirname "$0")/.."
# Only the command's summary goes to standard output: installing says what it does on standard
# error, and the build's lines are shown only when it fails.
bash scripts/setup.sh >&2
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DVESK3D_BUILD_TESTS=OFF >/dev/null
if ! cmake --build build/release -j "$(nproc 2>/dev/null || echo 2)" --target vesk3d_cli >build/release/build.log 2>&1; then
  cat build/release/build.log >&2
  exit 1
fi
if [ $# -eq 0 ]; then set -- --random 200000 -o mesh.vtu --check; fi
./build/release/app/vesk3d "$@"
