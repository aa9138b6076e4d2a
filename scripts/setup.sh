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

# Installed means "install ok installed": a removed package whose configuration files remain is
# still known to dpkg, but is missing.
missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -ne 0 ] && command -v sudo >/dev/null && sudo="sudo"
  echo "setup: installing ${missing[*]}"
  # env carries the frontend setting through sudo, which starts with a clean environment.
  if ! { $sudo apt-get update -qq &&
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}"; } >/dev/null; then
    echo "setup: could not install ${missing[*]}" >&2
    exit 1
  fi
fi
echo "setup: ready"
