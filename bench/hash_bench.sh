#!/usr/bin/env bash
# Speed and memory of duplicate verification, each against `openssl dgst -sha256` on
# the same two files in the same run (warm page cache: one untimed read first; best
# of 3 each). The lasting digest cache lives in a private XDG_CACHE_HOME.
#  a. Two different 384 MiB files of equal size: settled from samples. Target <= 0.15.
#  b. Two identical 384 MiB files, cache file removed before every run, read in parallel
#     (the files lie on a drive that does not spin: tmpfs by default). Target <= 0.6.
#  b2. The same on a disk that says it spins (queue/rotational 1; /var/tmp here by
#     default), where they are read one after the other. For comparison; no target.
#  c. The same pair again in a new process, lasting cache warm. Target <= 0.15.
#  d. Peak memory verifying two identical 2 GiB (sparse) files, against the same
#     program set up but idle (maximum RSS from /usr/bin/time -v). Target < 64 MiB above idle.
# Usage: bench/hash_bench.sh [BUILD_DIR]   (default: build; or set STASHWELL_HASH_BENCH)
#   BENCH_FAST_DIR, BENCH_SPINNING_DIR: where the files of b and b2 go (/dev/shm, /var/tmp).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bench=${STASHWELL_HASH_BENCH:-${1:-$root/build}/bench/stashwell-hash-bench}
runs=${BENCH_RUNS:-3}
pair_mib=${BENCH_PAIR_MIB:-384}
big_mib=${BENCH_BIG_MIB:-2048}
[ -x "$bench" ] || { echo "build first: $bench not found" >&2; exit 1; }
for tool in openssl /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "$tool is needed" >&2; exit 1; }
done

work=$(mktemp -d -p "${BENCH_FAST_DIR:-/dev/shm}")
spinning=$(mktemp -d -p "${BENCH_SPINNING_DIR:-/var/tmp}")
trap 'rm -rf "$work" "$spinning"' EXIT
export XDG_CACHE_HOME="$work/cache"
cache_file="$XDG_CACHE_HOME/Stashwell/digests.json"
a="$work/a.gguf" b="$work/b.gguf" other="$work/other.gguf"

echo "Creating three ${pair_mib} MiB files in $work ..."
head -c $((pair_mib * 1024 * 1024)) /dev/urandom >"$a"
cp "$a" "$b"
head -c $((pair_mib * 1024 * 1024)) /dev/urandom >"$other"
cat "$a" "$b" "$other" >/dev/null # warm the page cache

forget() { rm -f "$cache_file"; }
# Best wall time of $runs runs of "$@", in seconds; $before runs untimed ahead of each.
before=true
best_of() {
    local best="" start end elapsed
    for ((i = 0; i < runs; i++)); do
        $before
        start=$(date +%s%N)
        "$@" >/dev/null || [ $? -eq 1 ] # 1 is the answer "different"
        end=$(date +%s%N)
        elapsed=$((end - start))
        if [ -z "$best" ] || [ "$elapsed" -lt "$best" ]; then best=$elapsed; fi
    done
    awk -v ns="$best" 'BEGIN { printf "%.3f", ns / 1e9 }'
}
expect() { # expect OUTCOME FILE FILE
    local got
    got=$("$bench" "$2" "$3" || true)
    [ "$got" = "$1" ] || { echo "expected $1, got $got" >&2; exit 1; }
}
ratio() { awk -v v="$1" -v o="$2" 'BEGIN { printf "%.3f", v / o }'; }
report() { # report NAME TIME OPENSSL_TIME TARGET
    printf '  %-44s %7s s  openssl %7s s  ratio %s (target <= %s)\n' "$1" "$2" "$3" "$(ratio "$2" "$3")" "$4"
}

echo
echo "Verifying 2 x $pair_mib MiB, best of $runs, warm page cache:"
forget; expect different "$a" "$other"
t=$(best_of "$bench" "$a" "$other"); o=$(best_of openssl dgst -sha256 "$a" "$other")
report "a. different files (samples)" "$t" "$o" 0.15

before=forget
forget; expect identical "$a" "$b"
t=$(best_of "$bench" "$a" "$b"); o=$(best_of openssl dgst -sha256 "$a" "$b")
report "b. identical files, no lasting cache" "$t" "$o" 0.6

cp "$a" "$spinning/a.gguf" && cp "$b" "$spinning/b.gguf" && cat "$spinning"/*.gguf >/dev/null
rotational=$(cat "/sys/dev/block/$(stat -c '%Hd:%Ld' "$spinning")/queue/rotational" 2>/dev/null || echo "?")
t=$(best_of "$bench" "$spinning/a.gguf" "$spinning/b.gguf"); o=$(best_of openssl dgst -sha256 "$spinning/a.gguf" "$spinning/b.gguf")
report "b2. the same, one after the other (rotational $rotational)" "$t" "$o" "-"
rm -f "$spinning"/*.gguf

before=true
forget; expect identical "$a" "$b" # fills the lasting cache
t=$(best_of "$bench" "$a" "$b"); o=$(best_of openssl dgst -sha256 "$a" "$b")
report "c. identical files again, new process" "$t" "$o" 0.15

echo
echo "Creating two sparse ${big_mib} MiB files ..."
rm -f "$a" "$b" "$other"
big1="$work/big1.gguf" big2="$work/big2.gguf"
truncate -s "${big_mib}M" "$big1" "$big2"
forget
max_rss_kib() {
    /usr/bin/time -v "$@" 2>&1 >/dev/null | awk -F': ' '/Maximum resident set size/ { print $2 }'
}
idle=$(max_rss_kib "$bench" --idle "$big1" "$big2")
hashing=$(max_rss_kib "$bench" "$big1" "$big2")
above=$((hashing - idle))
echo "d. peak memory verifying two ${big_mib} MiB files: idle $idle KiB, hashing $hashing KiB,"
echo "   above idle: $above KiB ($(awk -v k="$above" 'BEGIN { printf "%.2f", k / 1024 }') MiB, target < 64 MiB)"
