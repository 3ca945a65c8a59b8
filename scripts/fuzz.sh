#!/usr/bin/env bash
# Runs each libFuzzer target for a bounded time over a copy of its checked-in corpus.
#   scripts/fuzz.sh --available      exits 0 when clang and its fuzzer runtime are installed
#   scripts/fuzz.sh BUILD_DIR SECONDS
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" = "--available" ]; then
    command -v clang++ >/dev/null || exit 1
    runtime=$(clang++ -print-file-name=libclang_rt.fuzzer-x86_64.a 2>/dev/null || true)
    [ -f "$runtime" ] || ls /usr/lib/llvm-*/lib/clang/*/lib/*/libclang_rt.fuzzer*.a >/dev/null 2>&1
    exit $?
fi

build=${1:?build directory}
seconds=${2:-20}
status=0
found=0
for target in "$build"/fuzz/fuzz_*; do
    [ -x "$target" ] || continue
    found=$((found + 1))
    name=$(basename "$target")
    corpus=fuzz/corpus/${name#fuzz_}
    work=$(mktemp -d)
    cp -r "$corpus"/. "$work"/ 2>/dev/null || true
    echo "fuzz: $name for ${seconds}s"
    if ! "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$work/" "$work" > "$work.log" 2>&1; then
        tail -40 "$work.log"
        echo "fuzz: $name found a problem; its artifacts are in $work"
        status=1
        continue
    fi
    grep -E "DONE|Done" "$work.log" | tail -2
    rm -rf "$work" "$work.log"
done
if [ "$found" -eq 0 ]; then
    echo "fuzz: no fuzz targets in $build/fuzz; configure and build the fuzz preset first"
    exit 1
fi
exit $status
