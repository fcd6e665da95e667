#!/usr/bin/env bash
# What the search for installations (ComfyUI, the Stable Diffusion web UIs,
# text-generation-webui) costs a scan: the fixture home of window_bench.sh with 50,000
# models, plus a tree of 100,000 unrelated files in folders one to three levels below
# the home (50,000 directly in level-two folders, 50,000 in level-three folders), scanned
# by this build's stashwell-cli and by one built before the search existed, in the same
# run on the same warm home (the fixture's ComfyUI, Forge and text-generation-webui are
# scanned by this build only). Target: at most 1.1 times the earlier scan.
#
#   BEFORE=/path/to/stashwell-cli-before bench/installation_search_bench.sh [MODELS]
set -euo pipefail
models=${1:-50000}
runs=${BENCH_RUNS:-11}
source "$(dirname "$0")/lib.sh"
before=${BEFORE:?set BEFORE to a stashwell-cli built before the search for installations}

STASHWELL_CLI=$cli "$root/bench/make_fixture_home.sh" "$HOME" --bulk "$models" >/dev/null
python3 - "$HOME/Unrelated" <<'PY'
import os, sys
root = sys.argv[1]
for a in range(100):
    level2 = os.path.join(root, f"project{a}")
    for f in range(500):
        os.makedirs(level2, exist_ok=True)
        open(os.path.join(level2, f"notes{f}.txt"), "w").close()
    for b in range(5):
        level3 = os.path.join(level2, f"part{b}")
        os.makedirs(level3)
        for f in range(100):
            open(os.path.join(level3, f"data{f}.csv"), "w").close()
PY
echo "home: $models models, $(find "$HOME/Unrelated" -type f | wc -l) unrelated files"

count() { "$1" scan --json | python3 -c 'import json,sys; print(json.load(sys.stdin)["modelCount"])'; }
echo "models listed: $(count "$before") before, $(count "$cli") with the installations the fixture holds"

# The two programs take turns, so a load that comes and goes weighs on both alike.
before_ns= after_ns=
for _ in $(seq "$runs"); do
    ns=$(elapsed_ns "$before" scan)
    if [ -z "$before_ns" ] || [ "$ns" -lt "$before_ns" ]; then before_ns=$ns; fi
    ns=$(elapsed_ns "$cli" scan)
    if [ -z "$after_ns" ] || [ "$ns" -lt "$after_ns" ]; then after_ns=$ns; fi
done
awk -v b="$before_ns" -v a="$after_ns" 'BEGIN {
    printf "%-34s %.3f s\n", "stashwell-cli scan, before:", b / 1e9
    printf "%-34s %.3f s  (ratio %.3f, target at most 1.1)\n", "stashwell-cli scan, with the search:", a / 1e9, a / b
}'
