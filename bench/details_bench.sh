#!/usr/bin/env bash
# What reading each model's header costs a scan: 200 GGUF files in LM Studio's folder,
# each with a 150,000-token vocabulary first (2.3 MB of strings, then scores and token
# types), the general keys after it and 291 tensors of sparse data. Times
# `stashwell-cli scan` before this change (the binary named by $STASHWELL_CLI_BEFORE,
# default /work/bin/stashwell-cli-before), the first scan (no details cache: every
# header read) and the second scan (cache warm: no model file opened), on the same warm
# tree in the same run. Targets: first scan at most 3 times the old scan, second at
# most 1.1 times.
set -euo pipefail
files=${BENCH_FILES:-200}
runs=${BENCH_RUNS:-7}
source "$(dirname "$0")/lib.sh"
before=${STASHWELL_CLI_BEFORE:-/work/bin/stashwell-cli-before}
[ -x "$before" ] || { echo "no binary from before the change: $before" >&2; exit 1; }
cache="$XDG_CACHE_HOME/Stashwell/details.cache"

echo "Writing $files GGUF files ..."
python3 - "$root/bench" "$HOME/.lmstudio/models/bench" "$files" <<'PY'
import sys
sys.path.insert(0, sys.argv[1])
import model_files
folder, count = sys.argv[2], int(sys.argv[3])
texts = model_files.vocabulary(150000)
for i in range(count):
    model_files.write_gguf("%s/model-%d-GGUF/model-%d-Q4_K_M.gguf" % (folder, i, i), vocab_texts=texts,
                           name="Model %d" % i, size_label="8B")
PY

# Warm the page cache and check that every model is described.
described=$("$cli" scan --json | python3 -c 'import json,sys; print(sum(1 for m in json.load(sys.stdin)["models"] if m["details"]))')
echo "stashwell-cli describes $described of $files models"
[ "$described" -eq "$files" ] || { echo "some models have no details" >&2; exit 1; }

# The best of $runs runs each; before each first scan the cache is removed, untimed.
old_ns=$(best_ns "$before" scan)
first_ns=
for _ in $(seq "$runs"); do
    rm -f "$cache"
    ns=$(elapsed_ns "$cli" scan)
    if [ -z "$first_ns" ] || [ "$ns" -lt "$first_ns" ]; then first_ns=$ns; fi
done
second_ns=$(best_ns "$cli" scan)
awk -v o="$old_ns" -v f="$first_ns" -v s="$second_ns" 'BEGIN {
    printf "%-34s %.3f s\n", "scan before this change:", o / 1e9
    printf "%-34s %.3f s  (ratio %.2f, target at most 3)\n", "first scan (every header read):", f / 1e9, f / o
    printf "%-34s %.3f s  (ratio %.2f, target at most 1.1)\n", "second scan (details cached):", s / 1e9, s / o
}'
