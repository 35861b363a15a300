# Sourced by the benchmark scripts: wall-clock timing of whole commands.

# Microseconds now; EPOCHREALTIME needs no process of its own.
now() { echo "${EPOCHREALTIME//[!0-9]/}"; }

# Best wall time in microseconds of $runs runs of the command.
best() {
  local fastest=-1 start elapsed i
  for ((i = 0; i < runs; i++)); do
    start=$(now)
    "$@" </dev/null >/dev/null 2>&1
    elapsed=$(($(now) - start))
    if ((fastest < 0 || elapsed < fastest)); then fastest=$elapsed; fi
  done
  echo "$fastest"
}
