#!/usr/bin/env bash
# loop.sh: a 1,000,000-pass macro loop against the same loop in tclsh and
# bash, best of 3 each, on this machine in this run.
set -euo pipefail
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

best() {  # best wall time in seconds of three runs of the command
  local best=""
  for _ in 1 2 3; do
    local start end
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1 </dev/null
    end=$(date +%s.%N)
    best=$(echo "$start $end $best" | awk '{t = $2 - $1; if ($3 == "" || t < $3) print t; else print $3}')
  done
  echo "$best"
}

cd "$work"
corvane=$(best "$program" -strict -macro=loop.macro)
tcl=$(best tclsh loop.tcl)
shell=$(best bash loop.sh)
echo "passes: $passes"
echo "corvane: ${corvane} s"
echo "tclsh:   ${tcl} s   corvane/tclsh = $(echo "$corvane $tcl" | awk '{printf "%.2f", $1 / $2}')"
echo "bash:    ${shell} s   bash/corvane = $(echo "$shell $corvane" | awk '{printf "%.2f", $1 / $2}')"
