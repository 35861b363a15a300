#!/usr/bin/env bash
# loop.sh: a 1,000,000-pass macro loop against the same loop in tclsh and
# bash, best of 3 each, on this machine in this run.
set -euo pipefail
source "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/timing.sh"
cd "$(dirname "$0")/.."
scripts/deps.sh tcl >/dev/null
scripts/build.sh build-bench-loop -DCMAKE_BUILD_TYPE=Release -DCORVANE_TESTS=OFF >/dev/null
program=$PWD/build-bench-loop/corvane
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passes=${1:-1000000}
printf 'debug.no\nfor %s\na := for.count\nifbigger a 10\nthen b := 1\nend\n' "$passes" > "$work/loop.macro"
printf 'set i 1; while {$i <= %s} { set a $i; if {$a > 10} { set b 1 }; incr i }\n' "$passes" > "$work/loop.tcl"
printf 'i=1; while [ $i -le %s ]; do a=$i; if [ $a -gt 10 ]; then b=1; fi; i=$((i+1)); done\n' "$passes" > "$work/loop.sh"

runs=3

cd "$work"
corvane=$(best "$program" -strict -macro=loop.macro)
tcl=$(best tclsh loop.tcl)
shell=$(best bash loop.sh)
awk -v n="$passes" -v c="$corvane" -v t="$tcl" -v b="$shell" 'BEGIN {
  printf "passes: %d, best of 3\n", n
  printf "corvane: %8.3f s\n", c / 1e6
  printf "tclsh:   %8.3f s   corvane / tclsh = %.2f\n", t / 1e6, c / t
  printf "bash:    %8.3f s   bash / corvane  = %.2f\n", b / 1e6, b / c
}'
