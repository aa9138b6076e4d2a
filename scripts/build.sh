#!/usr/bin/env bash
# Configures and builds into $BUILD (default: build). Extra arguments go to CMake.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
generator=()
command -v ninja >/dev/null && generator=(-G Ninja)
cmake -S . -B "$BUILD" "${generator[@]}" -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}" "$@" >/dev/null
cmake --build "$BUILD" -j "$(nproc)"
