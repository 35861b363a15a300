#!/usr/bin/env bash
# statements.sh [lines]: lines per second of the run loop over a generated
# macro of straight statements, against a plain read of the same file.
set -euo pipefail
source "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/timing.sh"
cd "$(dirname "$0")/.."
lines=${1:-1000000}
runs=3
build=build-bench-statements
if [ ! -f "$build/build.ninja" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCORVANE_TESTS=OFF >/dev/null
fi
cmake --build "$build" >/dev/null
program=$PWD/$build/corvane

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
# debug.no first: the trace of each statement would dominate otherwise.
awk -v n="$lines" 'BEGIN {
  print "debug.no"
  for (i = 0; i < n; i++) {
    r = i % 3
    if (r == 0) print "a := 1"; else if (r == 1) print "b += a 2"; else print "print b"
  }
}' >statements.macro


# Standard output is no terminal, so the console is off; no +log.
corvane=$(best "$program" -strict -macro=statements.macro)
count=$(best wc -l statements.macro)
read=$(best cat statements.macro)
awk -v n="$lines" -v c="$corvane" -v w="$count" -v r="$read" -v k="$runs" -v bytes="$(wc -c <statements.macro)" 'BEGIN {
  printf "macro: %d statements, %.1f MB, best of %d runs each\n", n, bytes / 1e6, k
  printf "corvane  %10.3f s  %12.0f lines/s\n", c / 1e6, n / (c / 1e6)
  printf "wc -l    %10.3f s  %12.0f lines/s\n", w / 1e6, n / (w / 1e6)
  printf "cat      %10.3f s  %12.0f lines/s\n", r / 1e6, n / (r / 1e6)
  printf "ratio corvane / cat  %.0f\n", c / (r > 0 ? r : 1)
}'
