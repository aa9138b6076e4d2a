#!/usr/bin/env bash
# Builds everything into $BUILD (default: build) and runs every test. Extra arguments go to CMake.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
./scripts/build.sh -DSC_BUILD_TESTS=ON "$@"
ctest --test-dir "$BUILD" --output-on-failure -j "$(nproc)"
