#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh" test
"$root/scripts/build.sh" all
build=${STASHWELL_BUILD_DIR:-$root/build}
# A short fuzzing run of the file parsers first (skipped when clang is not installed),
# so the test summary is the last thing printed.
"$root/scripts/run-fuzzers.sh"
# The tests run with their temporary folders on a memory file system when there is one,
# as /tmp is on many distributions and CI runners: folders list in another order there,
# and nothing may depend on that order.
scratch_parent=${TMPDIR:-/tmp}
[ -d /dev/shm ] && [ -w /dev/shm ] && scratch_parent=/dev/shm
scratch=$(mktemp -d "$scratch_parent/stashwell-tests.XXXXXX")
chmod 1777 "$scratch" # open like /tmp: some tests run a step as an unprivileged user
trap 'chmod -R u+rwX "$scratch" 2>/dev/null; rm -rf "$scratch"' EXIT
TMPDIR=$scratch ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
