#!/usr/bin/env bash
# Installs the Debian 12 packages one task needs, when they are missing:
#   install-deps.sh run      building and running the window and stashwell-cli
#   install-deps.sh test     that, plus what the tests need, plus (optional) fuzzing
#   install-deps.sh package  that, plus what building and checking the .deb needs
# With nothing missing it calls neither apt nor sudo. Without root and without sudo it
# prints the one apt-get line to run as root and exits 1, so nobody meets
# "sudo: command not found" halfway through.
set -euo pipefail
task=${1:-run}

root=$(cd "$(dirname "$0")/.." && pwd)

# Each need is one list; a task is the lists it needs.
# What the window loads at run time is one list, shared with the package's Depends.
mapfile -t window_runtime < <(sed 's/#.*//; /^[[:space:]]*$/d; s/[[:space:]]//g' \
    "$root/packaging/window-runtime-packages.txt")
build_and_run=(
    cmake g++ make pkg-config
    qt6-base-dev libssl-dev
    libyaml-cpp-dev # ComfyUI's extra_model_paths.yaml
    qt6-declarative-dev qt6-declarative-dev-tools libgl-dev # Qt Quick, for the window
    "${window_runtime[@]}"
)
tests=(
    trash-cli   # the desktop's own Trash tools: the tests prove trashed files show up there
    dbus-daemon # the tests talk to a private session bus (portal, file manager)
    xvfb xauth  # the window benchmark and the screenshots run under a virtual display
)
# clang and its libFuzzer runtime for scripts/run-fuzzers.sh, which is skipped without
# them; failing to install these never stops the tests.
fuzzing=(clang libclang-rt-14-dev)
# The accessibility bus and its Python client for tools/screen-reader-check.sh, which
# reads the window as a screen reader does; run by hand, so never required.
screen_reader=(at-spi2-core python3-pyatspi)
packaging=(
    dpkg-dev           # dpkg-shlibdeps works out the package's Depends from the binaries
    file               # CPack uses it to find the binaries to hand to dpkg-shlibdeps
    desktop-file-utils # desktop-file-validate
    appstream          # appstreamcli validate
    man-db             # man -l, to check the manual page renders
)

case "$task" in
run) required=("${build_and_run[@]}") optional=() ;;
test) required=("${build_and_run[@]}" "${tests[@]}") optional=("${fuzzing[@]}" "${screen_reader[@]}") ;;
package) required=("${build_and_run[@]}" "${packaging[@]}") optional=() ;;
*)
    echo "usage: $0 run|test|package" >&2
    exit 2
    ;;
esac

# The packages of "$@" that are not installed, one a line; one dpkg-query for all of them.
missing() {
    [ $# -gt 0 ] || return 0
    local present package
    present=$(dpkg-query -W -f='${Package} ${Status}\n' "$@" 2>/dev/null | sed -n 's/ install ok installed$//p' || true)
    for package in "$@"; do
        grep -qxF "$package" <<<"$present" || echo "$package"
    done
}
mapfile -t missing_required < <(missing "${required[@]}")
mapfile -t missing_optional < <(missing "${optional[@]}")
[ ${#missing_required[@]} -eq 0 ] && [ ${#missing_optional[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        if [ ${#missing_required[@]} -eq 0 ]; then
            echo "Not installed (optional, needs root): ${missing_optional[*]}; going on without them."
            exit 0
        fi
        echo "Stashwell needs Debian packages that are not installed, and there is no sudo here."
        echo "Run this as root (for example after 'su -'), then run this command again:"
        echo
        echo "    apt-get install --no-install-recommends ${missing_required[*]}"
        echo
        exit 1
    fi
    as_root=(sudo)
fi

# env, not export: sudo drops the caller's environment.
apt_get=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get)
"${apt_get[@]}" update -qq
if [ ${#missing_required[@]} -gt 0 ]; then
    echo "Installing: ${missing_required[*]}"
    "${apt_get[@]}" install -y -qq --no-install-recommends "${missing_required[@]}"
fi
if [ ${#missing_optional[@]} -gt 0 ]; then
    echo "Installing (optional): ${missing_optional[*]}"
    "${apt_get[@]}" install -y -qq --no-install-recommends "${missing_optional[@]}" \
        || echo "Optional packages not installed: ${missing_optional[*]}"
fi
