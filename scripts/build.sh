#!/usr/bin/env bash
# Configures and builds Stashwell into build/ (or $STASHWELL_BUILD_DIR):
#   build.sh app   only the window and stashwell-cli (what the run command and the package need)
#   build.sh all   everything: also the tests, the benchmarks and their tools
# Both use the same build folder, so switching between them rebuilds nothing twice.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${STASHWELL_BUILD_DIR:-$root/build}
case "${1:-all}" in
app) everything=OFF targets=(--target stashwell stashwell-cli) ;;
all) everything=ON targets=() ;;
*)
    echo "usage: $0 app|all" >&2
    exit 2
    ;;
esac
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DSTASHWELL_BUILD_TESTS=$everything -DSTASHWELL_BUILD_BENCH=$everything >/dev/null
cmake --build "$build" -j"$(nproc)" "${targets[@]}"
