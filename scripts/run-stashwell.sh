#!/usr/bin/env bash
# Installs what building and running need when it is missing, builds only the window and
# stashwell-cli, and opens Stashwell's window; without a display (no DISPLAY or
# WAYLAND_DISPLAY) it prints what Stashwell finds in your home folder.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh" run
"$root/scripts/build.sh" app
build=${STASHWELL_BUILD_DIR:-$root/build}
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec "$build/src/app/stashwell" "$@"
fi
exec "$build/src/cli/stashwell-cli" scan "$@"
