#!/usr/bin/env bash
# Shows what a screen reader such as Orca gets from the window: starts a virtual display,
# a session bus and the accessibility bus, runs Stashwell over the fixture home of
# bench/make_fixture_home.sh with Qt's AT-SPI bridge on, and lets
# tools/screen-reader-check.py read the tree and drive the keyboard. It moves one model
# of that throwaway home to its Trash, and says which files changed.
# Run by hand (scripts/install-deps.sh test installs what it needs); the test run
# does not, because the bus's timing differs from one machine to the next.
#
#   tools/screen-reader-check.sh        (STASHWELL_BUILD_DIR as for build.sh)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${STASHWELL_BUILD_DIR:-$root/build}

if [ "${1:-}" != "--inside" ]; then
    exec xvfb-run -a -s "-screen 0 1280x900x24" dbus-run-session -- "$0" --inside
fi

work=$(mktemp -d)
app=
cleanup() {
    [ -n "$app" ] && kill "$app" 2>/dev/null
    [ -n "${bus:-}" ] && kill "$bus" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
home=$work/home
STASHWELL_CLI=$build/src/cli/stashwell-cli "$root/bench/make_fixture_home.sh" "$home" >/dev/null
export HOME=$home XDG_DATA_HOME=$home/.local/share XDG_CONFIG_HOME=$home/.config XDG_CACHE_HOME=$home/.cache
export PATH=$home/bin:$PATH XDG_RUNTIME_DIR=$work/runtime
mkdir -m 700 "$XDG_RUNTIME_DIR"
(cd "$home" && find . -path ./.local/share/Trash -prune -o -type f -print | sort) > "$work/before"

/usr/libexec/at-spi-bus-launcher --launch-immediately &
bus=$!
sleep 1
QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 "$build/src/app/stashwell" 2> "$work/stashwell.log" &
app=$!

status=0
/usr/bin/python3 "$root/tools/screen-reader-check.py" || status=$?
(cd "$home" && find . -path ./.local/share/Trash -prune -o -type f -print | sort) > "$work/after"
echo "== Files that left the home (now in its Trash):"
comm -23 "$work/before" "$work/after" | sed 's/^/  /'
exit $status
