# What the benchmarks share; sourced by them after `set -euo pipefail`.
# Sets root and cli (stashwell-cli, or $STASHWELL_CLI), and work: a temporary folder
# removed on exit, holding a fresh home that HOME and the XDG folders point at, with no
# model-folder variables of the caller's own machine left to leak into the run.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cli=${STASHWELL_CLI:-$root/build/src/cli/stashwell-cli}
[ -x "$cli" ] || { echo "build first: $cli not found" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" XDG_DATA_HOME="$work/home/.local/share" \
    XDG_CACHE_HOME="$work/home/.cache" XDG_RUNTIME_DIR="$work/run"
unset OLLAMA_MODELS HF_HOME HF_HUB_CACHE HUGGINGFACE_HUB_CACHE LLAMA_CACHE JAN_DATA_FOLDER
mkdir -p "$HOME" "$XDG_RUNTIME_DIR"

# Wall time of one run of a command, in nanoseconds; its output is dropped.
elapsed_ns() {
    local start end
    start=$(date +%s%N)
    "$@" >/dev/null
    end=$(date +%s%N)
    echo $((end - start))
}

# The best wall time of $runs runs of a command, in nanoseconds.
best_ns() {
    local best= ns
    for _ in $(seq "$runs"); do
        ns=$(elapsed_ns "$@")
        if [ -z "$best" ] || [ "$ns" -lt "$best" ]; then best=$ns; fi
    done
    echo "$best"
}

# Times a standard tool (the command given, shown as label) against `stashwell-cli scan`
# and `scan --json` on the same warm tree, and prints each time and its ratio to the tool's.
compare_scan_with() {
    local label=$1
    shift
    local tool_ns scan_ns json_ns
    tool_ns=$(best_ns "$@")
    scan_ns=$(best_ns "$cli" scan)
    json_ns=$(best_ns "$cli" scan --json)
    awk -v l="$label" -v t="$tool_ns" -v s="$scan_ns" -v j="$json_ns" 'BEGIN {
        printf "%-26s %.3f s\n", l ":", t / 1e9
        printf "%-26s %.3f s  (ratio %.2f)\n", "stashwell-cli scan:", s / 1e9, s / t
        printf "%-26s %.3f s  (ratio %.2f)\n", "stashwell-cli scan --json:", j / 1e9, j / t
    }'
}
