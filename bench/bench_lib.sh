# Shared by the benchmark scripts (sourced from the repository's root): builds the contenders,
# makes datasets and summarises runs.
# A dataset is KIND-SIZE: uniform, clustered or sphere with a point count (100k, 1M, 10M, ...), or
# grid with the points per axis (grid-50 is 125,000 points). Datasets are made once, by fixed
# seeds, into build/bench/data.
bash scripts/setup.sh libcgal-dev
build=build/bench
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DVESK3D_BUILD_BENCH=ON -DVESK3D_BUILD_TESTS=OFF \
      -DVESK3D_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target make_dataset contender_vesk3d contender_cgal >/dev/null
mkdir -p "$build/data"

dataset_file() {
  local name=$1 kind=${1%-*} size=${1##*-}
  size=${size/k/000}; size=${size/M/000000}
  local file="$build/data/$name.bin"
  [ -f "$file" ] || "$build/bench/make_dataset" "$kind" "$size" "$file"
  echo "$file"
}

# Field of a contender's one-line report: field "time=1.2 tets=3" time -> 1.2
field() { tr ' ' '\n' <<<"$1" | sed -n "s/^$2=//p"; }
# Median and spread (largest / smallest) of the numbers on standard input: "1.234 (1.05)".
summary() { grep . | sort -g | awk '{v[NR]=$1} END {printf "%.3f (%.2f)", (NR%2 ? v[(NR+1)/2] : (v[NR/2]+v[NR/2+1])/2), v[NR]/v[1]}'; }
median() { summary | cut -d' ' -f1; }
