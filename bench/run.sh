#!/usr/bin/env bash
# Builds the benchmarks (Release, in build-bench/ beside this folder unless BUILD_DIR is set),
# runs them and prints the listing table with the machine's facts. Extra arguments go to the
# listing benchmark, e.g. --benchmark_filter='/(1000|10000)$'.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
build="${BUILD_DIR:-$here/../build-bench}"

cmake -S "$here/.." -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DGLFD_BUILD_BENCH=ON \
  -DGLFD_BUILD_TESTS=OFF -DGLFD_BUILD_CHOOSER="${GLFD_BUILD_CHOOSER:-ON}" >/dev/null
cmake --build "$build" --target glfd_listing_bench
# The slow mount (1 ms per status query) needs libfuse3 and FUSE on the machine; about two minutes.
if cmake --build "$build" --target help | grep -q '^glfd_slow_mount_bench:'; then
  cmake --build "$build" --target glfd_slow_mount_bench
fi
if [[ -f "$here/frame_bench.cpp" ]]; then cmake --build "$build" --target glfd_frame_bench || true; fi

tmp="${TMPDIR:-/tmp}"
echo "machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//'), kernel $(uname -r)"
echo "temp folder $tmp on $(findmnt -n -o FSTYPE -T "$tmp" | head -1); /dev/shm on $(findmnt -n -o FSTYPE -T /dev/shm 2>/dev/null | head -1)"
"$build/bench/glfd_listing_bench" "$@"

# ---- Slow mount: floor, 16 queries in flight, panel and peers at 2,100 and 20,000 entries ----------
if [[ -x "$build/bench/glfd_slow_mount_bench" ]]; then "$build/bench/glfd_slow_mount_bench"; fi

# ---- Frame time (the ImGui component, 100 vs 1,000,000 rows) ---------------------------------
if [[ -x "$build/bench/glfd_frame_bench" ]]; then "$build/bench/glfd_frame_bench"; fi
