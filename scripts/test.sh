#!/usr/bin/env bash
# Builds and runs every test in both configurations: "DEBUG" (standard assertions active,
# AddressSanitizer and UndefinedBehaviorSanitizer) and the optimised NDEBUG one (where valgrind's
# memcheck also watches three test programs); then builds, installs and tests the Python package; then
# runs each fuzz target for a minute.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh

jobs=$(nproc 2>/dev/null || echo 2)
status=0
for config in Debug Release; do
  dir="build/test-${config,,}"
  sanitize=OFF
  [ "$config" = Debug ] && sanitize=ON
  echo "=== ${config} build (sanitizers: ${sanitize}) ==="
  cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE="$config" -DVESK3D_SANITIZE="$sanitize" >/dev/null
  cmake --build "$dir" -j "$jobs"
  echo "=== ${config} tests ==="
  (cd "$dir" && ctest -j "$jobs" --output-on-failure --timeout 1500) || status=1
done
# The tests of threaded insertion (and of engines in several threads) and of the registry, whose
# large batches are keyed, sorted and built on threads, under ThreadSanitizer: any report fails
# them. Only those programs are built.
echo "=== ThreadSanitizer ==="
dir=build/test-tsan
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=Release -DVESK3D_SANITIZE_THREAD=ON -DVESK3D_BUILD_APP=OFF \
      -DVESK3D_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$dir" -j "$jobs" --target test_engine_parallel test_hc3
export TSAN_OPTIONS="halt_on_error=1 exitcode=66"
"$dir/tests/test_engine_parallel" --gtest_filter='-*EveryFamily*:*Zero*' || status=1
"$dir/tests/test_hc3" --gtest_filter='HC3AgainstModel.*' || status=1
unset TSAN_OPTIONS
# Debian's Python packages belong to /usr/bin/python3 (another python3 may come first on the PATH):
# a virtual environment made from it sees them, and pip builds offline with its build tools. Any
# pytest failure, "no tests ran" included, fails the run.
echo "=== Python package ==="
venv=build/python-venv
/usr/bin/python3 -m venv --system-site-packages "$venv"
if "$venv/bin/pip" install --no-build-isolation --no-index --disable-pip-version-check .; then
  "$venv/bin/python" -m pytest -p no:cacheprovider || status=1
else
  status=1
fi
# A short run of every fuzz target on its corpus, after replaying the inputs of past findings.
bash fuzz/run_fuzzers.sh 60 || status=1
exit $status
