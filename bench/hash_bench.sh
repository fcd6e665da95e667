#!/usr/bin/env bash
# Hashing speed and memory of duplicate verification.
#  1. Two identical 384 MiB files verified as one group by stashwell-hash-bench,
#     against `openssl dgst -sha256` and `sha256sum` over the same two files, in the
#     same run on a warm cache (one untimed read first), best of 3 each.
#     Prints the ratio verify/openssl; the target is at most 1.15.
#  2. Peak memory while verifying a 2 GiB file, against the same program set up but
#     idle (maximum RSS from /usr/bin/time -v); the target is under 64 MiB above idle.
# Usage: bench/hash_bench.sh [BUILD_DIR]   (default: build; or set STASHWELL_HASH_BENCH)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bench=${STASHWELL_HASH_BENCH:-${1:-$root/build}/bench/stashwell-hash-bench}
runs=${BENCH_RUNS:-3}
pair_mib=${BENCH_PAIR_MIB:-384}
big_mib=${BENCH_BIG_MIB:-2048}
[ -x "$bench" ] || { echo "build first: $bench not found" >&2; exit 1; }
for tool in openssl sha256sum /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "$tool is needed" >&2; exit 1; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
a="$work/a.gguf" b="$work/b.gguf" big="$work/big.gguf"

echo "Creating two identical ${pair_mib} MiB files in $work ..."
head -c $((pair_mib * 1024 * 1024)) /dev/urandom >"$a"
cp "$a" "$b"

# Best wall time of $runs runs, in seconds.
best_of() {
    local best="" start end elapsed
    for ((i = 0; i < runs; i++)); do
        start=$(date +%s%N)
        "$@" >/dev/null
        end=$(date +%s%N)
        elapsed=$((end - start))
        if [ -z "$best" ] || [ "$elapsed" -lt "$best" ]; then best=$elapsed; fi
    done
    awk -v ns="$best" 'BEGIN { printf "%.3f", ns / 1e9 }'
}

cat "$a" "$b" >/dev/null # warm the page cache
[ "$("$bench" "$a" "$b")" = identical ] || { echo "verification did not find the pair identical" >&2; exit 1; }

verify=$(best_of "$bench" "$a" "$b")
openssl_time=$(best_of openssl dgst -sha256 "$a" "$b")
sha256sum_time=$(best_of sha256sum "$a" "$b")
mib=$((2 * pair_mib))
rate() { awk -v s="$1" -v m="$mib" 'BEGIN { printf "%.0f MiB/s", m / s }'; }

echo
echo "Hashing $mib MiB (2 x $pair_mib MiB), best of $runs, warm cache:"
printf '  %-28s %8s s  %s\n' "stashwell-hash-bench verify" "$verify" "$(rate "$verify")"
printf '  %-28s %8s s  %s\n' "openssl dgst -sha256" "$openssl_time" "$(rate "$openssl_time")"
printf '  %-28s %8s s  %s\n' "sha256sum" "$sha256sum_time" "$(rate "$sha256sum_time")"
ratio=$(awk -v v="$verify" -v o="$openssl_time" 'BEGIN { printf "%.3f", v / o }')
echo "  ratio verify/openssl: $ratio (target <= 1.15)"
echo "  ratio verify/sha256sum: $(awk -v v="$verify" -v o="$sha256sum_time" 'BEGIN { printf "%.3f", v / o }')"

echo
echo "Creating a ${big_mib} MiB file ..."
rm -f "$b"
head -c $((big_mib * 1024 * 1024)) /dev/zero >"$big"
max_rss_kib() {
    /usr/bin/time -v "$@" 2>&1 >/dev/null | awk -F': ' '/Maximum resident set size/ { print $2 }'
}
idle=$(max_rss_kib "$bench" --idle "$big" "$big")
hashing=$(max_rss_kib "$bench" "$big" "$big")
above=$(( (hashing - idle) ))
echo "Peak memory verifying a ${big_mib} MiB file:"
echo "  idle:    $idle KiB"
echo "  hashing: $hashing KiB"
echo "  above idle: $above KiB ($(awk -v k="$above" 'BEGIN { printf "%.2f", k / 1024 }') MiB, target < 64 MiB)"
