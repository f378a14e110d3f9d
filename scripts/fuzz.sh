#!/usr/bin/env bash
# Builds the fuzz targets with Clang (libFuzzer, ASan, UBSan) and runs each for SECONDS
# (default 30), starting from its seeds in tests/fuzz/corpus/<name>/. Prints the executions per
# target; exits non-zero on any finding (a crash, a sanitizer report, a failed check, a leak, an
# input running over 10 s).
#   scripts/fuzz.sh [SECONDS] [NAME...]     (default: every tests/fuzz/<name>_fuzz.cpp)
# Inputs found to add coverage collect in build/fuzz/grown/<name>/ (kept between runs);
# findings land in build/fuzz/findings/ and are reproduced with: build/fuzz/fuzz/fuzz_<name> FILE
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
shift || true
bash "$top/scripts/deps.sh" test

build=$top/build/fuzz
CXX=clang++ cmake -S "$top" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGLFD_BUILD_FUZZ=ON \
      -DGLFD_BUILD_CHOOSER=ON -DGLFD_BUILD_TESTS=OFF -DGLFD_BUILD_EXAMPLES=OFF -DGLFD_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target glfd_fuzzers

names=("$@")
if [ ${#names[@]} -eq 0 ]; then
  for source in "$top"/tests/fuzz/*_fuzz.cpp; do
    name=$(basename "$source" _fuzz.cpp)
    names+=("$name")
  done
fi

# The targets' temporary trees go here, so that none outlives the run even after a crash.
scratch=$(mktemp -d -t glfd-fuzz.XXXXXX)
trap 'chmod -R u+rwx "$scratch" 2>/dev/null; rm -rf "$scratch"' EXIT
mkdir -p "$build/findings"

failed=0
for name in "${names[@]}"; do
  program=$build/fuzz/fuzz_$name
  if [ ! -x "$program" ]; then
    echo "$name: no fuzz_$name target (register it in tests/fuzz/CMakeLists.txt)"
    failed=1
    continue
  fi
  grown=$build/grown/$name
  mkdir -p "$grown"
  log=$scratch/$name.log
  status=0
  (cd "$scratch" && TMPDIR=$scratch UBSAN_OPTIONS=print_stacktrace=1 \
     "$program" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
     -artifact_prefix="$build/findings/$name-" "$grown" "$top/tests/fuzz/corpus/$name") >"$log" 2>&1 || status=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
  if [ "$status" -eq 0 ]; then
    printf '%-20s %12s executions in %s s\n' "$name" "${runs:-?}" "$seconds"
  else
    failed=1
    printf '%-20s FINDING (exit status %s)\n' "$name" "$status"
    grep -v '^INFO:\|^#[0-9]' "$log" | tail -n 40
  fi
done
exit "$failed"
