#!/usr/bin/env bash
# Threaded batch insertion against Vesk3D's own sequential run and CGAL's sequential one.
# Usage: bench/run_threads.sh [runs, default 5] [contenders, default "cgal 1 2 4"] [datasets...,
# default uniform-1M clustered-1M grid-50 sphere-200k]. A contender is "cgal", "pair" (below) or a
# thread count for contender_vesk3d; each run is its own process, and the contenders alternate
# within a round.
# Prints per dataset and contender the median wall-clock and CPU seconds of the insertion with the
# spread (slowest / fastest run), the peak resident MiB, and the ratios of the medians to CGAL and
# to one thread. Datasets are named as in bench/bench_lib.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-5}
read -r -a contenders <<<"${2:-cgal 1 2 4}"
shift 2 || shift $#
datasets=("$@")
[ ${#datasets[@]} -gt 0 ] || datasets=(uniform-1M clustered-1M grid-50 sphere-200k)

source bench/bench_lib.sh

# Ratio of the medians of two lists of numbers (one a line), or "-" when one is missing.
ratio() {
  [ -n "$1" ] && [ -n "$2" ] || { echo -; return; }
  awk -v a="$(median <<<"$1")" -v b="$(median <<<"$2")" 'BEGIN { printf "%.2f", a / b }'
}

# "pair" is two sequential runs at once, the slower one reported: how much two cores slow each
# other down on this machine, the ceiling of any two-thread speed-up being twice its speed-up.
run_contender() {
  case "$1" in
    cgal) "$build/bench/contender_cgal" "$2" ;;
    pair)
      "$build/bench/contender_vesk3d" "$2" 1 >"$build/pair.out" &
      local other; other=$("$build/bench/contender_vesk3d" "$2" 1)
      wait
      awk '{ split($1, t, "="); if (t[2] > max) { max = t[2]; line = $0 } } END { print line }' <(echo "$other"; cat "$build/pair.out") ;;
    *) "$build/bench/contender_vesk3d" "$2" "$1" ;;
  esac
}

echo "| dataset | contender | wall s | cpu s | MiB | wall / CGAL | speed-up over 1 thread | MiB / 1 thread |"
echo "|---|---|---|---|---|---|---|---|"
for name in "${datasets[@]}"; do
  file=$(dataset_file "$name")
  declare -A walls=() cpus=() rss=()
  for ((r = 0; r < runs; r++)); do
    for c in "${contenders[@]}"; do
      out=$(run_contender "$c" "$file")
      walls[$c]+="$(field "$out" time)"$'\n'; cpus[$c]+="$(field "$out" cpu)"$'\n'; rss[$c]+="$(field "$out" rss_kib)"$'\n'
    done
  done
  for c in "${contenders[@]}"; do
    printf '| %s | %s | %s | %s | %.0f | %s | %s | %s |\n' "$name" "$c" "$(summary <<<"${walls[$c]}")" \
      "$(summary <<<"${cpus[$c]}")" "$(awk -v k="$(median <<<"${rss[$c]}")" 'BEGIN { print k / 1024 }')" \
      "$(ratio "${walls[$c]}" "${walls[cgal]:-}")" "$([ "$c" = cgal ] && echo - || ratio "${walls[1]:-}" "${walls[$c]}")" \
      "$(ratio "${rss[$c]}" "${rss[1]:-}")"
  done
  unset walls cpus rss
done
