#!/usr/bin/env bash
# Installs what the build needs beyond a fresh machine of this kind (g++, clang, CMake,
# GoogleTest and Google Benchmark are already there). Safe to run again.
set -euo pipefail

packages=(
  libcdb-dev tinycdb        # tinycdb: a peer in the dictionary and lexicon benchmarks
  libcli11-dev nlohmann-json3-dev libfmt-dev libpugixml-dev   # the command-line tool
  help2man                  # the tool's man page
  doxygen                   # the API reference
  python3-pytest python3-setuptools   # the Python package's tests and its offline install
  wfrench wngerman festlex-cmu        # word lists for the lexicon benchmark
  bash-completion           # the tool's completion script
)

missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null && sudo="sudo"
  echo "setup: installing ${missing[*]}"
  if ! { $sudo apt-get update -qq && DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"; } >/dev/null; then
    echo "setup: could not install ${missing[*]}" >&2
    exit 1
  fi
fi
echo "setup: ready"
