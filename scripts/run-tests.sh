#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
build=${STASHWELL_BUILD_DIR:-$root/build}
# A short fuzzing run of the file parsers first (skipped when clang is not installed),
# so the test summary is the last thing printed.
"$root/scripts/run-fuzzers.sh"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
