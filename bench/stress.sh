#!/usr/bin/env bash
# Scale and stress: 10,000,000 uniform points and the 200^3 integer grid (8,000,000 points, all
# cells cospherical) in the optimised build, each once, with the library's validity check on the
# result. Needs about 10 GiB of memory; run it on an otherwise idle machine.
#   bench/stress.sh [DATASET...]  (default: uniform-10M grid-200)
set -euo pipefail
cd "$(dirname "$0")/.."
datasets=("$@")
[ ${#datasets[@]} -gt 0 ] || datasets=(uniform-10M grid-200)

bash scripts/setup.sh
build=build/bench-stress
data=build/bench/data  # the datasets of bench/run_bench.sh, made by the same fixed seeds
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DVESK3D_BUILD_BENCH=ON -DVESK3D_BUILD_TESTS=OFF \
      -DVESK3D_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" -j2 --target make_dataset stress_check >/dev/null
mkdir -p "$data"

status=0
for name in "${datasets[@]}"; do
  kind=${name%-*} size=${name##*-}
  size=${size/10M/10000000}
  file="$data/$name.bin"
  [ -f "$file" ] || "$build/bench/make_dataset" "$kind" "$size" "$file"
  report=$("$build/bench/stress_check" "$file") || status=1
  echo "$name: $report"
done
exit $status
