#!/usr/bin/env bash
# Deleting many Ollama models against the dry run of one: a store of 20,000 manifests
# with small blobs (each model one blob of its own and one shared with its neighbour)
# in a temporary home. `stashwell-cli trash --dry-run` of 1 model and a real
# `trash --yes` of 40 models run in the same run on the same warm store; both scan and
# count the store once, so the ratio shows what the 40 moves cost. Target: at most 1.5.
set -euo pipefail
manifests=${BENCH_MANIFESTS:-20000}
runs=${BENCH_RUNS:-3}
source "$(dirname "$0")/lib.sh"
store="$HOME/.ollama/models"

make_store() {
    rm -rf "$store" "$XDG_DATA_HOME/Trash"
    python3 - "$store" "$manifests" <<'PY'
import json, os, sys
store, total = sys.argv[1], int(sys.argv[2])
blobs = os.path.join(store, "blobs")
os.makedirs(blobs, exist_ok=True)
for i in range(total):
    own, shared = f"{i:064x}", f"{(i // 2) + 10**9:064x}"
    for digest in (own, shared):
        path = os.path.join(blobs, "sha256-" + digest)
        if not os.path.exists(path):
            with open(path, "wb") as f:
                f.write(b"x" * 64)
    folder = os.path.join(store, "manifests/registry.ollama.ai/library", f"m{i}")
    os.makedirs(folder, exist_ok=True)
    layers = [{"mediaType": "application/vnd.ollama.image.model", "digest": "sha256:" + d, "size": 64} for d in (own, shared)]
    with open(os.path.join(folder, "latest"), "w") as f:
        json.dump({"schemaVersion": 2, "config": {"mediaType": "c", "digest": "sha256:" + own, "size": 64}, "layers": layers}, f)
PY
}

echo "Creating a store of $manifests manifests in $store ..."
make_store
"$cli" scan >/dev/null # warm the page cache
names=()
for i in $(seq 0 39); do names+=(--name "m$i:latest"); done

best_dry= best_real=
for _ in $(seq "$runs"); do
    dry=$(elapsed_ns "$cli" trash --dry-run --name m0:latest)
    real=$(elapsed_ns "$cli" trash --yes "${names[@]}")
    [ -z "$best_dry" ] || [ "$dry" -lt "$best_dry" ] && best_dry=$dry
    [ -z "$best_real" ] || [ "$real" -lt "$best_real" ] && best_real=$real
    moved=$(ls "$XDG_DATA_HOME/Trash/files" | wc -l)
    [ "$moved" -eq 100 ] || { echo "expected 100 items in the Trash (40 manifests, 40 own and 20 shared blobs), found $moved" >&2; exit 1; }
    make_store
    "$cli" scan >/dev/null
done
awk -v d="$best_dry" -v r="$best_real" 'BEGIN {
    printf "trash --dry-run of 1 model:  %.3f s\n", d / 1e9
    printf "trash --yes of 40 models:    %.3f s  (ratio %.2f)\n", r / 1e9, r / d
}'
