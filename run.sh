#!/usr/bin/env bash
# run.sh [macro] [options...]: builds corvane and runs a macro (default demo/first.macro).
set -euo pipefail
cd "$(dirname "$0")"
scripts/deps.sh
scripts/build.sh build -DCMAKE_BUILD_TYPE=Release >/dev/null
macro=${1:-demo/first.macro}
[ $# -gt 0 ] && shift
exec build/corvane +log -macro="$macro" "$@"
