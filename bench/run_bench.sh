#!/usr/bin/env bash
# Benchmarks Vesk3D against CGAL's Delaunay_triangulation_3 on the same dataset files.
# Usage: bench/run_bench.sh [runs per contender, default 5] [datasets..., default all]
# Datasets are named as in bench/bench_lib.sh. Each run is its own process; the contenders
# alternate. Prints, per contender, the median of the CPU and wall-clock seconds of the insertion
# with the spread (slowest / fastest run) beside it, the ratio of the medians, and the peak
# resident memory; writes the table to build/bench/results.md.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-5}
shift || true
datasets=("$@")
[ ${#datasets[@]} -gt 0 ] || datasets=(uniform-100k uniform-1M clustered-1M grid-50 sphere-200k uniform-10M)

source bench/bench_lib.sh

results=$build/results.md
{
  echo "| dataset | Vesk3D cpu s | CGAL cpu s | cpu ratio | Vesk3D wall s | CGAL wall s | wall ratio | tetrahedra | Vesk3D MiB | CGAL MiB | memory ratio |"
  echo "|---|---|---|---|---|---|---|---|---|---|---|"
} >"$results"
for name in "${datasets[@]}"; do
  file=$(dataset_file "$name")
  vesk_times=(); cgal_times=(); vesk_cpus=(); cgal_cpus=(); vesk_rss=(); cgal_rss=(); tets=0; cgal_tets=0
  for ((r = 0; r < runs; r++)); do
    out=$("$build/bench/contender_vesk3d" "$file")
    vesk_times+=("$(field "$out" time)"); vesk_cpus+=("$(field "$out" cpu)"); vesk_rss+=("$(field "$out" rss_kib)")
    tets=$(field "$out" tets)
    out=$("$build/bench/contender_cgal" "$file")
    cgal_times+=("$(field "$out" time)"); cgal_cpus+=("$(field "$out" cpu)"); cgal_rss+=("$(field "$out" rss_kib)")
    cgal_tets=$(field "$out" tets)
  done
  [ "$tets" = "$cgal_tets" ] || echo "warning: $name: Vesk3D made $tets tetrahedra, CGAL $cgal_tets" >&2
  vc=$(printf '%s\n' "${vesk_cpus[@]}" | summary)
  cc=$(printf '%s\n' "${cgal_cpus[@]}" | summary)
  vt=$(printf '%s\n' "${vesk_times[@]}" | summary)
  ct=$(printf '%s\n' "${cgal_times[@]}" | summary)
  vr=$(printf '%s\n' "${vesk_rss[@]}" | median)
  cr=$(printf '%s\n' "${cgal_rss[@]}" | median)
  awk -v n="$name" -v vc="$vc" -v cc="$cc" -v vt="$vt" -v ct="$ct" -v t="$tets" -v vr="$vr" -v cr="$cr" 'BEGIN {
    printf "| %s | %s | %s | %.2f | %s | %s | %.2f | %d | %.0f | %.0f | %.2f |\n", n, vc, cc, vc / cc, vt, ct, vt / ct, t,
           vr / 1024, cr / 1024, vr / cr }' >>"$results"
  tail -n 1 "$results"
done
echo
cat "$results"
