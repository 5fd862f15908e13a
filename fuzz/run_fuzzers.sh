#!/usr/bin/env bash
# Builds the fuzz targets with clang in build/fuzz, replays every kept finding, then runs each
# target on its corpus for the given time. Exits non-zero on the first finding; its input is
# written to build/fuzz/artifacts/TARGET/.
#   fuzz/run_fuzzers.sh [SECONDS_PER_TARGET (default 60)] [TARGET...]  (targets: predicates engine readers)
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -eq 0 ] && targets=(predicates engine readers)

build=build/fuzz
cmake -S fuzz -B "$build" -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" -j2 --target "${targets[@]/#/fuzz_}"

# A unit slower than 20 s counts as a hang; a reader may allocate at most 64 MiB at once, far less
# than a lying header can claim.
options=(-timeout=20 -rss_limit_mb=2048 -print_final_stats=1)
declare -A extraOptions=([readers]="-malloc_limit_mb=64 -dict=fuzz/readers.dict" [engine]="" [predicates]="")

# Runs the target with the given arguments; its full log is shown only on a finding.
run() {
  local log="$build/fuzz_$target.log"
  if ! "$binary" "${options[@]}" ${extraOptions[$target]} "$@" >"$log" 2>&1; then
    tail -n 80 "$log"
    echo "=== fuzz_$target: FINDING (input in $artifacts) ==="
    exit 1
  fi
  grep -E "^(Done|stat::number_of_executed_units|stat::peak_rss_mb)" "$log" || true
}

for target in "${targets[@]}"; do
  binary="$build/fuzz_$target"
  work="$build/corpus/$target"
  artifacts="$build/artifacts/$target/"
  mkdir -p "$work" "$artifacts"
  regressions=(fuzz/regressions/"$target"/*)
  if [ -e "${regressions[0]}" ]; then
    echo "=== fuzz_$target: replaying ${#regressions[@]} kept findings ==="
    run -artifact_prefix="$artifacts" "${regressions[@]}"
  fi
  echo "=== fuzz_$target: ${seconds} s ==="
  # New inputs go to the first folder (the build's), the committed seeds are only read.
  run -max_total_time="$seconds" -artifact_prefix="$artifacts" "$work" "fuzz/corpus/$target"
done
echo "fuzz: ${#targets[@]} passed, 0 failed"
