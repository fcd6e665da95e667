#!/usr/bin/env bash
# Scan speed against find(1): a custom folder of 200,000 files, about 1% of them model
# files, scanned by `stashwell-cli scan` and listed by find with the same filter, in the
# same run on the same warm tree. Prints the ratio; the target is at most 1.2.
set -euo pipefail
files=${BENCH_FILES:-200000}
runs=${BENCH_RUNS:-7}
source "$(dirname "$0")/lib.sh"
tree="$work/tree"

echo "Creating $files files in $tree ..."
python3 - "$tree" "$files" <<'PY'
import os, sys
root, total = sys.argv[1], int(sys.argv[2])
extensions = [".gguf", ".bin", ".safetensors"]
made = 0
folder = 0
while made < total:
    # 3 levels: 20 top folders, 10 below each, then leaf folders of 100 files.
    path = os.path.join(root, f"top{folder % 20}", f"mid{(folder // 20) % 10}", f"leaf{folder}")
    os.makedirs(path, exist_ok=True)
    for i in range(min(100, total - made)):
        name = f"file{i}.Q4_K_M{extensions[made % 3]}" if made % 100 == 0 else f"file{i}.txt"
        with open(os.path.join(path, name), "wb") as f:
            f.write(b"x" * (made % 7))
        made += 1
    folder += 1
PY

"$cli" folders add "$tree" >/dev/null

# Warm the page cache and check both list the same number of model files.
found=$(find "$tree" -type f \( -iname '*.gguf' -o -iname '*.bin' -o -iname '*.safetensors' \) -printf '%s %T@ %p\n' | wc -l)
listed=$("$cli" scan --json | python3 -c 'import json,sys; print(json.load(sys.stdin)["modelCount"])')
echo "find lists $found model files, stashwell-cli lists $listed models"
[ "$found" -eq "$listed" ] || { echo "counts differ" >&2; exit 1; }

compare_scan_with "find" find "$tree" -type f \( -iname '*.gguf' -o -iname '*.bin' -o -iname '*.safetensors' \) -printf '%s %T@ %p\n'
