#!/usr/bin/env bash
# How soon the window shows a complete scan of many models: the milliseconds from the
# start of `stashwell` (its main()) to the first frame drawn after a scan of N models
# (default 5,000) completed, on a virtual display. The same home is then scanned by
# stashwell-cli and listed by find, for scale. Target: under 1,500 ms for 5,000 models.
# Last, one run scrolls the whole list a screenful per frame (new rows in every frame,
# the hardest case for the list) and reports the median and slowest frame.
# With STASHWELL_CLI_BEFORE naming a stashwell-cli built before a change, the terminal
# scan of the same home is timed with it too, runs alternating, and the ratio is given
# (duplicates by content: target at most 1.1 for N = 50,000).
#
#   bench/window_bench.sh [N]        (RUNS=5 by default; STASHWELL_BUILD_DIR as for build.sh)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${STASHWELL_BUILD_DIR:-$root/build}
count=${1:-5000}
runs=${RUNS:-5}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
home=$work/home

STASHWELL_CLI=$build/src/cli/stashwell-cli "$root/bench/make_fixture_home.sh" "$home" --bulk "$count" >/dev/null
export HOME=$home XDG_DATA_HOME=$home/.local/share XDG_CONFIG_HOME=$home/.config PATH=$home/bin:$PATH
export XDG_RUNTIME_DIR=$work/runtime && mkdir -m 700 "$XDG_RUNTIME_DIR"

now_ms() { echo $(($(date +%s%N) / 1000000)); }
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

echo "models in the home: $(find "$home" -name '*.gguf' -o -name '*.ckpt' -o -path '*/manifests/*' -type f | wc -l) files"

# One virtual display for every run, so its start-up is not counted.
window_ms=$(STASHWELL_REPORT_FIRST_FRAME=1 xvfb-run -a -s "-screen 0 1280x800x24" bash -c '
    for ((i = 0; i < '"$runs"'; i++)); do "'"$build"'/tools/stashwell-probe" 2>/dev/null | sed -n "s/.*: \([0-9]*\) ms, \([0-9]*\) models/\1 \2/p"; done')
echo "$window_ms" | awk '{ print "window run: " $1 " ms to the first frame with " $2 " models" }'
window=$(echo "$window_ms" | awk '{ print $1 }' | median)

scan_ms() { local start; start=$(now_ms); "$1" scan >/dev/null; echo $(($(now_ms) - start)); }
before=${STASHWELL_CLI_BEFORE:-}
: >"$work/now" && : >"$work/before"
for ((i = 0; i < runs; i++)); do
    scan_ms "$build/src/cli/stashwell-cli" >>"$work/now"
    [ -z "$before" ] || scan_ms "$before" >>"$work/before"
done
cli=$(median <"$work/now")
listing=$(for ((i = 0; i < runs; i++)); do
    start=$(now_ms); find "$home" -type f >/dev/null; echo $(($(now_ms) - start))
done | median)

scroll=$(STASHWELL_REPORT_FIRST_FRAME=scroll xvfb-run -a -s "-screen 0 1280x800x24" "$build/tools/stashwell-probe" 2>/dev/null | grep '^scrolled' || true)

echo "median over $runs runs:"
echo "  window, start to first complete frame: $window ms (target under 1500 ms)"
echo "  stashwell-cli scan, whole process:     $cli ms (runs: $(tr '\n' ' ' <"$work/now"))"
if [ -n "$before" ]; then
    earlier=$(median <"$work/before")
    echo "  the same scan before the change:       $earlier ms (runs: $(tr '\n' ' ' <"$work/before"))"
    awk -v c="$cli" -v b="$earlier" 'BEGIN { if (b > 0) printf "  scan now / before: %.2f (target at most 1.1)\n", c / b }'
fi
echo "  find over the same home:               $listing ms"
echo "  ${scroll:-scrolling: no report}"
awk -v w="$window" -v c="$cli" 'BEGIN { if (c > 0) printf "  window / terminal scan: %.2f\n", w / c }'
