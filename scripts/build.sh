#!/usr/bin/env bash
# build.sh <directory> [cmake options...]: configures (once) and builds one build tree.
set -euo pipefail
cd "$(dirname "$0")/.."
directory=$1; shift
if [ ! -f "$directory/build.ninja" ]; then
  cmake -S . -B "$directory" -G Ninja "$@"
fi
cmake --build "$directory"
