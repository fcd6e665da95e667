#!/usr/bin/env bash
# Installs the Debian 12 packages Stashwell needs to build, run and test, when missing.
set -euo pipefail

packages=(
    cmake g++ make pkg-config
    qt6-base-dev libssl-dev
    trash-cli   # the desktop's own Trash tools: the tests prove trashed files show up there
    # The window: Qt Quick with its controls, layouts and dialogs, SVG icons, the icon theme.
    qt6-declarative-dev qt6-declarative-dev-tools libgl-dev
    qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
    qml6-module-qtquick-window qml6-module-qtquick-templates qml6-module-qtquick-dialogs
    qml6-module-qtqml-workerscript qt6-qpa-plugins libqt6svg6 adwaita-icon-theme
    dbus-daemon      # the tests talk to a private session bus (portal, file manager)
    xvfb xauth       # the window benchmark and the screenshots run under a virtual display
)
# Optional: clang and its libFuzzer runtime for scripts/run-fuzzers.sh, which is skipped
# without them. A failure to install these never stops the build or the tests.
optional_packages=(clang libclang-rt-14-dev)

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'
}
missing=()
for package in "${packages[@]}"; do
    installed "$package" || missing+=("$package")
done
missing_optional=()
for package in "${optional_packages[@]}"; do
    installed "$package" || missing_optional+=("$package")
done
[ ${#missing[@]} -eq 0 ] && [ ${#missing_optional[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -ne 0 ] && sudo=(sudo)
"${sudo[@]}" apt-get update -qq
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
if [ ${#missing_optional[@]} -gt 0 ]; then
    echo "Installing (optional, for fuzzing): ${missing_optional[*]}"
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing_optional[@]}" \
        || echo "Optional packages not installed: ${missing_optional[*]} (fuzzing will be skipped)"
fi
