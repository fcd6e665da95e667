#!/usr/bin/env bash
# Installs the Debian 12 packages Stashwell needs to build, run and test, when missing.
set -euo pipefail

packages=(
    cmake g++ make pkg-config
    qt6-base-dev libssl-dev
    trash-cli   # the desktop's own Trash tools: the tests prove trashed files show up there
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -ne 0 ] && sudo=(sudo)
echo "Installing: ${missing[*]}"
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
