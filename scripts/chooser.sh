#!/usr/bin/env bash
# Installs what is missing, builds the chooser, and opens it. Arguments go to the chooser
# (see --help). Build messages go to standard error, so standard output carries only the
# chosen paths.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
bash "$top/scripts/deps.sh" run
build="$top/build/release"
cmake -S "$top" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DGLFD_BUILD_TESTS=OFF \
      -DGLFD_BUILD_CHOOSER=ON >&2
cmake --build "$build" --target glfiledialog_app >&2
exec "$build/apps/glfiledialog/glfiledialog" "$@"
