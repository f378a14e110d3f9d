#!/usr/bin/env bash
# Installs the Debian packages a profile needs, only when some are missing.
#   scripts/deps.sh run    build and run the chooser
#   scripts/deps.sh test   build and run every test (window and terminal end-to-end included)
#   scripts/deps.sh bench  build and run the benchmarks
set -euo pipefail

run_pkgs=(g++ cmake ninja-build pkg-config libimgui-dev libglfw3-dev libgl-dev libncurses-dev libfontconfig-dev
          libfreetype-dev fontconfig fonts-dejavu-core)
# libclang-rt-14-dev holds Clang's sanitizer and libFuzzer runtimes (only recommended by clang);
# strace watches the chooser for writes; fuse3 and libfuse3-dev: the slow and hung mounts of the
# tests and the benchmark; fonts-noto-cjk and fonts-symbola: names in every script (CJK and
# monochrome emoji fallback fonts); binutils: the packaging test reads the component's links.
test_pkgs=("${run_pkgs[@]}" clang libclang-rt-14-dev libgtest-dev libgmock-dev xvfb xauth libgl1-mesa-dri xdotool
           x11-utils imagemagick tmux strace procps python3 clang-format clang-tidy git unicode-data fuse3
           libfuse3-dev binutils fonts-noto-cjk fonts-symbola)
bench_pkgs=("${run_pkgs[@]}" libbenchmark-dev fuse3 libfuse3-dev)

set -- "${1:-run}"
case "$1" in
  run) wanted=("${run_pkgs[@]}") ;;
  test) wanted=("${test_pkgs[@]}") ;;
  bench) wanted=("${bench_pkgs[@]}") ;;
  *) echo "usage: $0 run|test|bench" >&2; exit 2 ;;
esac

# FUSE is built into most kernels; where it is a module, root can load it. Harmless when it
# cannot be loaded (a container): the tests that mount then skip and say why.
if [ "$1" != run ] && [ ! -e /dev/fuse ] && [ "$(id -u)" -eq 0 ] && command -v modprobe >/dev/null; then
    modprobe fuse 2>/dev/null || true
fi

missing=()
for pkg in "${wanted[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$pkg")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}" >&2
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "need root (or sudo) to install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq >&2
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
