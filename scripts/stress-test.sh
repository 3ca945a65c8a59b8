#!/usr/bin/env bash
# Builds the development and sanitizer suites and runs them while busy loops keep every core occupied,
# the way a shared CI machine is. A test that passes only on an idle machine fails here. Meant for
# developers before they stop; not part of the test command.
#
#   scripts/stress-test.sh [--loops N] [--rounds N] [--no-setup]
#
# N loops default to twice the number of cores; rounds (each a dev and a sanitizer run) to 1.
# Exits 0 when every test of every round passed, and lists what failed otherwise.
set -euo pipefail
cd "$(dirname "$0")/.."

loops=$(($(nproc) * 2))
rounds=1
setup=true
while [ $# -gt 0 ]; do
    case $1 in
    --loops) loops=${2:?--loops takes a number}; shift 2 ;;
    --rounds) rounds=${2:?--rounds takes a number}; shift 2 ;;
    --no-setup) setup=false; shift ;;
    -h | --help) sed -n '2,9p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "stress-test: unknown argument $1" >&2; exit 2 ;;
    esac
done

if $setup; then
    scripts/setup.sh --tests
fi
for preset in dev asan; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
done

busy_pids=()
stop_loops() {
    for pid in "${busy_pids[@]}"; do
        kill "$pid" 2>/dev/null || true
    done
    for pid in "${busy_pids[@]}"; do
        wait "$pid" 2>/dev/null || true
    done
    busy_pids=()
}
trap stop_loops EXIT

for _ in $(seq "$loops"); do
    # Bounded like every load this project makes: it stops by itself should this script be killed.
    timeout 7200 sh -c 'while :; do :; done' &
    busy_pids+=($!)
done
echo "stress-test: $loops busy loops on $(nproc) cores, $rounds round(s)"

failures=()
for round in $(seq "$rounds"); do
    for preset in dev asan; do
        log=build/$preset/stress-round-$round.log
        echo "stress-test: round $round, $preset"
        if ctest --preset "$preset" >"$log" 2>&1; then
            grep -E '^[0-9]+% tests passed' "$log" || true
        else
            grep -E '^[0-9]+% tests passed' "$log" || true
            while IFS= read -r line; do
                failures+=("round $round, $preset: $line")
            done < <(sed -n '/The following tests FAILED:/,$p' "$log" | grep -E '^\s+[0-9]+ - ' || echo "    (see $log)")
        fi
    done
done
stop_loops

if [ ${#failures[@]} -gt 0 ]; then
    echo "stress-test: failed"
    printf '  %s\n' "${failures[@]}"
    exit 1
fi
echo "stress-test: every test passed in every round"
