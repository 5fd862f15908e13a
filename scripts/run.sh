#!/usr/bin/env bash
# The main job: builds the optimised library and triangulates the built-in default input.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DVESK3D_BUILD_TESTS=OFF >/dev/null
cmake --build build/release -j "$(nproc 2>/dev/null || echo 2)" --target vesk3d_example
./build/release/examples/vesk3d_example "$@"
