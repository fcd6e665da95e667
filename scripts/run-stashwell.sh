#!/usr/bin/env bash
# Installs what is missing, builds, and shows what Stashwell finds in your home folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
"$root/scripts/build.sh"
build=${STASHWELL_BUILD_DIR:-$root/build}
exec "$build/src/cli/stashwell-cli" scan "$@"
