#!/usr/bin/env bash
# run_transcript.sh <corvane> <case.macro>: runs one macro transcript case in a
# fresh directory and compares corvane.log with <case>.log. See README.md.
set -u
program=$1
macro=$2
macro=$(cd "$(dirname "$macro")" && pwd)/$(basename "$macro")
case=${macro%.macro}
expected=$case.log
work=$(mktemp -d "${TMPDIR:-/tmp}/corvane-macro-XXXXXX")
trap 'rm -rf "$work"' EXIT

cp "$macro" "$work/"
# Files the case needs beside it: <case>.files/ is copied into the directory.
[ -d "$case.files" ] && cp -r "$case.files/." "$work/"
arguments=()
if [ -f "$case.args" ]; then
  while IFS= read -r line || [ -n "$line" ]; do arguments+=("$line"); done < "$case.args"
fi

# A case with NAME.stdin talks to the program: no -strict, its answers on standard input.
if [ -f "$case.stdin" ]; then
  (cd "$work" && "$program" +log -macro="$(basename "$macro")" "${arguments[@]}" <"$case.stdin" >stdout.txt 2>&1)
else
  (cd "$work" && "$program" -strict +log -macro="$(basename "$macro")" "${arguments[@]}" </dev/null >stdout.txt 2>&1)
fi
echo "exit $?" > "$work/exit.txt"

if [ ! -f "$work/corvane.log" ]; then
  echo "no corvane.log written; program output:"; cat "$work/stdout.txt"; exit 1
fi

# The head of the log (banner and program path), the processor lines and the
# duration of the last line depend on the build and the machine.
full=no
head -n 1 "$expected" | grep -qx '#full' && full=yes
awk -v full="$full" '
  state == 0 { if (index($0, "  Program: ") == 1) state = 1; next }
  state == 1 && index($0, "  : ") == 1 { next }
  state == 1 { state = (full == "yes") ? 3 : 2 }
  state == 2 { if ($0 == "  -h : shows this help without waiting") state = 21; next }
  state == 21 { if ($0 == "") next; state = 3 }
  { sub(/^Done \(.*\)\.$/, "Done."); print }
' "$work/corvane.log" > "$work/actual.log"
cat "$work/exit.txt" >> "$work/actual.log"

grep -vx '#full' "$expected" > "$work/expected.log"
if ! diff -u "$work/expected.log" "$work/actual.log"; then
  echo "transcript differs: $macro"
  exit 1
fi
