#!/usr/bin/env bash
# The main job: builds the library and the speechcommon tool, then shows them at work.
set -euo pipefail
cd "$(dirname "$0")/.."
BUILD=${BUILD:-build}
./scripts/build.sh -DSC_BUILD_TESTS=OFF -DSC_BUILD_BENCH=OFF
sc="$BUILD/tools/speechcommon"
run() { printf '\n$ speechcommon %s\n' "$*"; "$sc" "$@" || true; }
run --version
run error 0x801E0083
run error 0x80010204
run error 0x00010201
run error 0x80150107
run error 0x80220102
run error not-a-code
tree="$BUILD/examples/broker/tree"
run broker list "$tree"
run broker resolve "$tree" --engine demo/tts --language en demo/voice/def
run broker check "$tree"
printf '\n$ examples/broker/broker_client %s\n' "$tree"
"$BUILD/examples/broker/broker_client" "$tree" || true
