#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
build=${STASHWELL_BUILD_DIR:-$root/build}
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
# Then a short fuzzing run of the file parsers (skipped when clang is not installed).
"$root/scripts/run-fuzzers.sh"
