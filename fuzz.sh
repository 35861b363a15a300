#!/usr/bin/env bash
# fuzz.sh [seconds] [target]: builds the libFuzzer targets with clang and runs each for a while.
set -euo pipefail
cd "$(dirname "$0")"
scripts/deps.sh clang libclang-rt-dev
CXX=clang++ scripts/build.sh build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCORVANE_FUZZ=ON -DCORVANE_TESTS=OFF >/dev/null
seconds=${1:-60}
for target in build-fuzz/fuzz/fuzz_${2:-*}; do
  name=$(basename "$target")
  corpus=fuzz/corpus/${name#fuzz_}
  mkdir -p "$corpus" build-fuzz/corpus/"$name"
  echo "== $name for $seconds s"
  "$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 \
    build-fuzz/corpus/"$name" "$corpus"
done
