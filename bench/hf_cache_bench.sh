#!/usr/bin/env bash
# Scan speed of the Hugging Face hub cache against du(1): 1,000 model repositories of
# ten blobs each, every repository with two revisions whose snapshot links share most
# blobs and one ref naming the second (so the first is an old revision, and every link
# is read), scanned by `stashwell-cli scan` and measured by `du -s` (which also counts
# each blob once), in the same run on the same warm tree. Prints the ratio; the target
# is at most 1.2.
set -euo pipefail
repos=${BENCH_REPOS:-1000}
runs=${BENCH_RUNS:-7}
source "$(dirname "$0")/lib.sh"
cache="$XDG_CACHE_HOME/huggingface/hub"
mkdir -p "$cache"

echo "Creating $repos repositories in $cache ..."
python3 - "$cache" "$repos" <<'PY'
import os, sys
cache, total = sys.argv[1], int(sys.argv[2])
for r in range(total):
    repo = os.path.join(cache, f"models--org{r % 50}--model-{r}")
    blobs = [f"{r:04x}{b:036x}" for b in range(10)]
    os.makedirs(os.path.join(repo, "blobs"))
    for i, blob in enumerate(blobs):
        with open(os.path.join(repo, "blobs", blob), "wb") as f:
            f.write(b"x" * (1000 + 37 * i + r))
    # Two revisions: the second keeps eight files and changes two.
    for revision, files in (("a" * 40, blobs[:8] + blobs[8:9]), ("b" * 40, blobs[:8] + blobs[9:10])):
        snapshot = os.path.join(repo, "snapshots", revision)
        os.makedirs(snapshot)
        for i, blob in enumerate(files):
            os.symlink(os.path.join("..", "..", "blobs", blob), os.path.join(snapshot, f"file{i}.safetensors"))
    os.makedirs(os.path.join(repo, "refs"))
    with open(os.path.join(repo, "refs", "main"), "w") as f:
        f.write("b" * 40)
PY

# Warm the page cache and check every repository is listed, with its revision no ref
# names (the first) as an old revision.
du -s "$cache" >/dev/null
listed=$("$cli" scan --json | python3 -c 'import collections, json, sys
kinds = collections.Counter(m["leftover"] for m in json.load(sys.stdin)["models"] if m["sourceKind"] == "huggingFace")
print(kinds[None], kinds["oldRevision"])')
echo "stashwell-cli lists ${listed% *} Hugging Face models and ${listed#* } old revisions of $repos repositories"
[ "$listed" = "$repos $repos" ] || { echo "counts differ" >&2; exit 1; }

compare_scan_with "du -s" du -s "$cache"
