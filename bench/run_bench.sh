#!/usr/bin/env bash
# Benchmarks Vesk3D against CGAL's Delaunay_triangulation_3 on the same dataset files.
# Usage: bench/run_bench.sh [runs per contender, default 3] [datasets..., default all]
# Each run is its own process; contenders alternate. Prints medians of wall-clock and CPU time
# (CPU time is steadier on a shared machine), peak resident memory, and writes the table to
# build/bench/results.md. Datasets are made once, by fixed seeds, into build/bench/data.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-3}
shift || true
datasets=("$@")
[ ${#datasets[@]} -gt 0 ] || datasets=(uniform-1M clustered-1M sphere-1M grid-100 uniform-10M)

bash scripts/setup.sh libcgal-dev
build=build/bench
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DVESK3D_BUILD_BENCH=ON -DVESK3D_BUILD_TESTS=OFF \
      -DVESK3D_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target make_dataset contender_vesk3d contender_cgal >/dev/null
mkdir -p "$build/data"

dataset_file() {
  local name=$1 kind=${1%-*} size=${1##*-}
  size=${size/10M/10000000}; size=${size/1M/1000000}
  local file="$build/data/$name.bin"
  [ -f "$file" ] || "$build/bench/make_dataset" "$kind" "$size" "$file"
  echo "$file"
}

# Field of a contender's one-line report: field "time=1.2 tets=3" time -> 1.2
field() { tr ' ' '\n' <<<"$1" | sed -n "s/^$2=//p"; }
median() { sort -g | awk '{v[NR]=$1} END {print (NR%2 ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2)}'; }

results=$build/results.md
{
  echo "| dataset | Vesk3D s | CGAL s | ratio | Vesk3D cpu s | CGAL cpu s | cpu ratio | tetrahedra | Vesk3D MiB | CGAL MiB | memory ratio | Vesk3D B/point |"
  echo "|---|---|---|---|---|---|---|---|---|---|---|---|"
} >"$results"
for name in "${datasets[@]}"; do
  file=$(dataset_file "$name")
  points=$((($(stat -c %s "$file") - 16) / 24))
  vesk_times=(); cgal_times=(); vesk_cpus=(); cgal_cpus=(); vesk_rss=0; cgal_rss=0; tets=0; cgal_tets=0
  for ((r = 0; r < runs; r++)); do
    out=$("$build/bench/contender_vesk3d" "$file")
    vesk_times+=("$(field "$out" time)"); vesk_cpus+=("$(field "$out" cpu)")
    tets=$(field "$out" tets); vesk_rss=$(field "$out" rss_kib)
    out=$("$build/bench/contender_cgal" "$file")
    cgal_times+=("$(field "$out" time)"); cgal_cpus+=("$(field "$out" cpu)")
    cgal_tets=$(field "$out" tets); cgal_rss=$(field "$out" rss_kib)
  done
  [ "$tets" = "$cgal_tets" ] || echo "warning: $name: Vesk3D made $tets tetrahedra, CGAL $cgal_tets" >&2
  vt=$(printf '%s\n' "${vesk_times[@]}" | median)
  ct=$(printf '%s\n' "${cgal_times[@]}" | median)
  vc=$(printf '%s\n' "${vesk_cpus[@]}" | median)
  cc=$(printf '%s\n' "${cgal_cpus[@]}" | median)
  awk -v n="$name" -v vt="$vt" -v ct="$ct" -v vc="$vc" -v cc="$cc" -v t="$tets" -v p="$points" \
      -v vr="$vesk_rss" -v cr="$cgal_rss" 'BEGIN {
    printf "| %s | %.3f | %.3f | %.2f | %.3f | %.3f | %.2f | %d | %.0f | %.0f | %.3f | %.0f |\n", n, vt, ct, vt / ct,
           vc, cc, vc / cc, t, vr / 1024, cr / 1024, vr / cr, vr * 1024 / p }' >>"$results"
  tail -n 1 "$results"
done
echo
cat "$results"
