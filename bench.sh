#!/usr/bin/env bash
# bench.sh [benchmark filter]: builds and runs the micro-benchmarks in bench/.
set -euo pipefail
cd "$(dirname "$0")"
scripts/deps.sh
scripts/build.sh build-bench -DCMAKE_BUILD_TYPE=Release -DCORVANE_BENCH=ON -DCORVANE_TESTS=OFF >/dev/null
exec build-bench/bench/corvane_bench ${1:+--benchmark_filter="$1"}
