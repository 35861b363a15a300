#!/usr/bin/env bash
# startup.sh: start-up cost of corvane, best of 10 runs on an empty macro,
# against the best of 10 runs of /bin/true as the floor of starting a process.
set -euo pipefail
source "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/timing.sh"
cd "$(dirname "$0")/.."
runs=10
build=build-bench-startup
if [ ! -f "$build/build.ninja" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORVANE_TESTS=OFF >/dev/null
fi
cmake --build "$build" >/dev/null
program=$PWD/$build/corvane

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
: >"$work/empty.macro"
cd "$work"  # no options file, no first-run file beside the sources


corvane=$(best "$program" -strict -macro=empty.macro)
reference=$(best /bin/true)
awk -v c="$corvane" -v r="$reference" -v n="$runs" 'BEGIN {
  printf "corvane -strict -macro=empty.macro  best of %d: %9.3f ms\n", n, c / 1000
  printf "/bin/true                          best of %d: %9.3f ms\n", n, r / 1000
  printf "ratio corvane / true                          %9.1f\n", c / (r > 0 ? r : 1)
}'
