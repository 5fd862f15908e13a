#!/usr/bin/env bash
# Prints how many lines of the repository are tests: tests/, fuzz/ and python/tests (sources,
# scripts and CMake files) over all sources, scripts and CMake files (C++, Python, shell, CMake).
# Markdown, data files, fuzz corpora and regression inputs are not code and are not counted.
# Usage: bash scripts/test_ratio.sh [--list]   (--list also prints every counted file)
set -euo pipefail
cd "$(dirname "$0")/.."

is_code() {
  case "$1" in
    fuzz/corpus/* | fuzz/regressions/*) return 1 ;;
    *.cpp | *.h | *.py | *.pyi | *.sh | *.cmake | *.cmake.in | */CMakeLists.txt | CMakeLists.txt) return 0 ;;
  esac
  return 1
}
is_test() {
  case "$1" in tests/* | fuzz/* | python/tests/*) return 0 ;; esac
  return 1
}

test_lines=0
all_lines=0
while IFS= read -r file; do
  [ -f "$file" ] && is_code "$file" || continue
  lines=$(wc -l <"$file")
  all_lines=$((all_lines + lines))
  if is_test "$file"; then
    test_lines=$((test_lines + lines))
    tag=test
  else
    tag=code
  fi
  [ "${1:-}" = --list ] && printf '%6d %s %s\n' "$lines" "$tag" "$file"
done < <(git ls-files --cached --others --exclude-standard | sort -u)

echo "test lines: ${test_lines}"
echo "all lines:  ${all_lines}"
awk -v t="$test_lines" -v a="$all_lines" 'BEGIN { printf "tests:      %.1f%%\n", 100 * t / a }'
