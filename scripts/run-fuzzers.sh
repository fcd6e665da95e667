#!/usr/bin/env bash
# Builds the fuzz targets in fuzz/ with clang into build-fuzz/ (or $STASHWELL_FUZZ_BUILD_DIR)
# and runs each for a short time ($STASHWELL_FUZZ_SECONDS, default 15) over its seed
# corpus in tests/fuzz-corpus/<target>/. Skipped, with a line saying why, when clang or
# its libFuzzer runtime is not installed. Exits 1 when a target finds a fault; the input
# that caused it is kept in the build folder's artifacts/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${STASHWELL_FUZZ_BUILD_DIR:-$root/build-fuzz}
seconds=${STASHWELL_FUZZ_SECONDS:-15}
targets=(fuzz_ollama_manifest fuzz_blob_references fuzz_custom_folders fuzz_settings_file fuzz_hf_repository
    fuzz_launch_settings fuzz_gguf_header fuzz_safetensors_header fuzz_ollama_config fuzz_details_cache)

skip() {
    echo "fuzzing skipped: $*"
    exit 0
}

compiler=$(command -v clang++ || command -v clang++-14 || true)
[ -n "$compiler" ] || skip "clang++ is not installed (Debian packages clang and libclang-rt-14-dev)"
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char *, unsigned long) { return 0; }' >"$probe/probe.cpp"
"$compiler" -fsanitize=fuzzer,address,undefined "$probe/probe.cpp" -o "$probe/probe" 2>/dev/null \
    || skip "$compiler cannot link libFuzzer programs (Debian package libclang-rt-14-dev)"

echo "fuzzing: building ${#targets[@]} targets with $compiler"
cmake -S "$root/fuzz" -B "$build" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$(nproc)" --target "${targets[@]}" >"$build/build.log" 2>&1 \
    || { tail -n 40 "$build/build.log"; exit 1; }

# The targets write small file trees for every input: on a memory file system when there is one.
scratch_parent=/dev/shm
[ -d "$scratch_parent" ] && [ -w "$scratch_parent" ] || scratch_parent=$build
scratch=$(mktemp -d "$scratch_parent/stashwell-fuzz.XXXXXX")
trap 'rm -rf "$probe" "$scratch"' EXIT
# A damaged settings file can make Qt ask for gigabytes, which it survives when refused;
# refuse such requests as a real system would instead of stopping the run on them.
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=2048
export UBSAN_OPTIONS=print_stacktrace=1

dictionary() {
    case "$1" in
    fuzz_ollama_manifest | fuzz_blob_references) echo "$root/fuzz/ollama_manifest.dict" ;;
    fuzz_launch_settings) echo "$root/fuzz/launch_settings.dict" ;;
    fuzz_gguf_header) echo "$root/fuzz/gguf.dict" ;;
    fuzz_safetensors_header | fuzz_ollama_config) echo "$root/fuzz/safetensors.dict" ;;
    fuzz_details_cache) echo "$root/fuzz/details_cache.dict" ;;
    *) echo "$root/fuzz/settings.dict" ;;
    esac
}

passed=0
failed=0
for target in "${targets[@]}"; do
    # New inputs go to the build folder; the committed seeds are only read.
    found="$build/corpus/$target"
    artifacts="$build/artifacts"
    log="$build/$target.log"
    mkdir -p "$found" "$artifacts"
    if TMPDIR=$scratch "$build/$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 \
        -dict="$(dictionary "$target")" -artifact_prefix="$artifacts/$target-" -print_final_stats=1 \
        "$found" "$root/tests/fuzz-corpus/$target" >"$log" 2>&1; then
        runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
        echo "fuzzing: $target: ${runs:-?} inputs in ${seconds}s, no fault"
        passed=$((passed + 1))
    else
        echo "fuzzing: $target FOUND A FAULT (log: $log)"
        grep -E 'invariant broken|ERROR:|SUMMARY:|runtime error|Test unit written' "$log" | head -n 20 || tail -n 40 "$log"
        failed=$((failed + 1))
    fi
done
echo "fuzzing: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
