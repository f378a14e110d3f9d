#!/usr/bin/env bash
# Builds and runs one outside consumer of the library the way an embedder would.
#
#   run_consumer.sh MODE SOURCE_DIR WORK_DIR CXX GENERATOR [VERSION [NEXT_MAJOR]]
#
#   install           build the library (shared) from SOURCE_DIR, install it into WORK_DIR/prefix
#   find_package      consume the prefix with find_package(glfiledialog VERSION); then check
#                     that NEXT_MAJOR.0 is refused
#   missing_header    the same consumer must fail against a copy of the prefix missing a header
#   pkg-config        compile with a plain compiler command line; the .pc must report VERSION
#   imgui             build the ImGui application in ../imgui_consumer against the prefix (CMake and
#                     pkg-config); the component must not link GLFW or OpenGL itself
#   add_subdirectory  build SOURCE_DIR as part of the consumer
#   fetchcontent      pull SOURCE_DIR in with FetchContent
set -euo pipefail
mode=$1 src=$2 work=$3 cxx=$4 generator=$5 version=${6:-} next_major=${7:-}
here=$(cd "$(dirname "$0")" && pwd)
prefix=$work/prefix
mkdir -p "$work"

# Configures, builds and runs one of the CMake consumers: DIR BUILD_DIR [cmake args...]
consume() {
    local dir=$1 build=$2
    shift 2
    rm -rf "$build"
    cmake -S "$here/$dir" -B "$build" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" "$@" &&
        cmake --build "$build" && "$build/consumer"
}

# Runs a command that must fail, and fail for the expected reason: PATTERN COMMAND...
expect_failure() {
    local pattern=$1 log=$work/$mode.log
    shift
    if "$@" >"$log" 2>&1; then
        echo "expected a failure matching '$pattern', but it succeeded"
        return 1
    fi
    if ! grep -q -- "$pattern" "$log"; then
        cat "$log"
        echo "failed, but not with '$pattern'"
        return 1
    fi
    echo "failed as expected: $(grep -m1 -- "$pattern" "$log")"
}

case $mode in
install)
    rm -rf "$work/library" "$prefix"
    cmake -S "$src" -B "$work/library" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Debug \
        -DBUILD_SHARED_LIBS=ON -DGLFD_BUILD_TESTS=OFF -DGLFD_BUILD_CHOOSER=OFF -DGLFD_BUILD_EXAMPLES=OFF
    cmake --build "$work/library"
    cmake --install "$work/library" --prefix "$prefix"
    ;;
find_package)
    consume find_package "$work/find_package" -DCMAKE_PREFIX_PATH="$prefix" -DGLFD_REQUIRED_VERSION="$version"
    expect_failure "compatible with requested version" \
        cmake "$work/find_package" -DGLFD_REQUIRED_VERSION="$next_major.0"
    ;;
missing_header)
    rm -rf "$work/broken" && cp -a "$prefix" "$work/broken"
    rm "$work/broken/include/glfiledialog/gltableview.h"
    expect_failure "gltableview.h" consume find_package "$work/missing_header" -DCMAKE_PREFIX_PATH="$work/broken"
    ;;
pkg-config)
    command -v pkg-config >/dev/null || { echo "pkg-config is not installed"; exit 1; }
    pc=$(find "$prefix" -name glfiledialog.pc)
    export PKG_CONFIG_PATH=${pc%/*}
    reported=$(pkg-config --modversion glfiledialog)
    [ "$reported" = "$version" ] || { echo "pkg-config reports version '$reported', expected '$version'"; exit 1; }
    # Word splitting of the pkg-config output is intended: it is a list of flags.
    # shellcheck disable=SC2046
    "$cxx" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$here/main.cpp" $(pkg-config --cflags --libs glfiledialog) \
        -o "$work/pkg-config-consumer"
    LD_LIBRARY_PATH=$(pkg-config --variable=libdir glfiledialog) "$work/pkg-config-consumer"
    ;;
imgui)
    rm -rf "$work/imgui_consumer"
    cmake -S "$here/../imgui_consumer" -B "$work/imgui_consumer" -G "$generator" -DCMAKE_CXX_COMPILER="$cxx" \
        -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build "$work/imgui_consumer"
    pc=$(find "$prefix" -name glfiledialog-imgui.pc)
    [ -n "$pc" ] || { echo "glfiledialog-imgui.pc was not installed"; exit 1; }
    export PKG_CONFIG_PATH=${pc%/*}
    # Word splitting of the pkg-config output is intended: it is a list of flags.
    # shellcheck disable=SC2046
    "$cxx" -std=c++17 -Wall -Wextra -Wpedantic -Werror "$here/../imgui_consumer/main.cpp" \
        $(pkg-config --cflags --libs glfiledialog-imgui glfw3 gl) -o "$work/imgui-pkg-config-consumer"
    library=$(find "$prefix" -name 'libglfiledialog-imgui.so*' -type f | head -n1)
    [ -n "$library" ] || { echo "libglfiledialog-imgui was not installed"; exit 1; }
    if readelf -d "$library" | grep -E 'NEEDED.*(glfw|libGL|libOpenGL)'; then
        echo "the ImGui component links a window system or OpenGL itself"
        exit 1
    fi
    echo "built $work/imgui_consumer/consumer and $work/imgui-pkg-config-consumer"
    ;;
add_subdirectory | fetchcontent)
    consume "$mode" "$work/$mode" -DGLFD_SOURCE_DIR="$src" -DGLFD_BUILD_TESTS=OFF -DGLFD_BUILD_CHOOSER=OFF
    ;;
*)
    echo "unknown mode: $mode"
    exit 2
    ;;
esac
