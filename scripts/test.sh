#!/usr/bin/env bash
# Installs what is missing, builds everything with the tests, and runs them all.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/deps.sh" test
build="$top/build/test"
cmake -S "$top" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DGLFD_BUILD_TESTS=ON \
      -DGLFD_BUILD_CHOOSER=ON
cmake --build "$build"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
