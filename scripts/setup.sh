#!/usr/bin/env bash
# Installs what the build needs beyond a fresh machine of this kind (g++, clang, CMake,
# GoogleTest and Google Benchmark are already there). Safe to run again.
set -euo pipefail

packages=(libcdb-dev)   # tinycdb: a peer in the dictionary benchmarks

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null && sudo="sudo"
  echo "setup: installing ${missing[*]}"
  if ! { $sudo apt-get update -qq && DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"; } >/dev/null; then
    echo "setup: could not install ${missing[*]}; the benchmarks will skip that peer" >&2
  fi
fi
echo "setup: ready"
