#!/usr/bin/env bash
# Builds the Debian package dist/stashwell_<version>_<arch>.deb: installs what building
# and checking it need when missing, builds the two programs (no tests, no benchmarks)
# in build/ (or $STASHWELL_BUILD_DIR), checks the desktop entry, the AppStream metainfo
# and the manual page, and runs CPack.
#   Install it with:  sudo apt-get install ./dist/stashwell_*.deb
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${STASHWELL_BUILD_DIR:-$root/build}
"$root/scripts/install-deps.sh" package

# The files that go into the package are checked first: a software centre or a desktop
# that rejects them would hide the application.
desktop-file-validate "$root/data/stashwell.desktop"
appstreamcli validate --no-net "$root/data/app.stashwell.Stashwell.metainfo.xml"
groff -man -ww -z -Tutf8 "$root/data/man/stashwell-cli.1"

"$root/scripts/build.sh" app
# The rest of what the install rules install: the compressed manual page.
cmake --build "$build" -j"$(nproc)" --target manual
cpack --config "$build/CPackConfig.cmake" -B "$root/dist"
rm -rf "$root/dist/_CPack_Packages" # CPack's staging folder
ls -l "$root"/dist/stashwell_*.deb
