#!/usr/bin/env bash
# test.sh: builds and runs every test twice, plainly and under AddressSanitizer + UBSan.
set -euo pipefail
cd "$(dirname "$0")"
scripts/deps.sh
jobs=$(nproc)
scripts/build.sh build -DCMAKE_BUILD_TYPE=Release
ctest --test-dir build --output-on-failure -j "$jobs"
scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DCORVANE_SANITIZE=ON
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j "$jobs"
echo "All tests passed (plain and sanitized)."
