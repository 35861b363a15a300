#!/usr/bin/env bash
# volumes.sh: NIfTI load and save of a 256^3 fullgray phantom (32 MiB)
# against zcat, gzip -6 and cat on the same bytes, best of 3, and the peak
# memory of a load followed by a gzip save.
set -euo pipefail
source "$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/timing.sh"
cd "$(dirname "$0")/.."
scripts/deps.sh time gzip >/dev/null
scripts/build.sh build-bench-volumes -DCMAKE_BUILD_TYPE=Release -DCORVANE_TESTS=OFF >/dev/null
program=$PWD/build-bench-volumes/corvane
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
size=${1:-256}
"$OLDPWD/build-bench-volumes/phantom" volume.nii "$size" "$size" "$size"
tail -c +353 volume.nii > volume.raw
gzip -6 -c volume.nii > volume.nii.gz
printf 'scalar.load "volume.nii.gz"\n' > loadgz.macro
printf 'scalar.load "volume.nii"\n' > load.macro
printf 'scalar.load "volume.nii"\nscalar.save "saved.nii.gz"\n' > save.macro

runs=3
loadGzip=$(best "$program" -strict -macro=loadgz.macro)
zcatTime=$(best sh -c 'zcat volume.nii.gz > /dev/null')
loadPlain=$(best "$program" -strict -macro=load.macro)
catTime=$(best sh -c 'cat volume.nii > /dev/null')
loadSave=$(best "$program" -strict -macro=save.macro)
gzipTime=$(best sh -c 'gzip -6 -c volume.raw > /dev/null')
peak=$(/usr/bin/time -f %M "$program" -strict -macro=save.macro 2>&1 >/dev/null </dev/null | tail -1)
bytes=$(stat -c %s volume.raw)
awk -v lg="$loadGzip" -v zc="$zcatTime" -v lp="$loadPlain" -v ct="$catTime" -v ls="$loadSave" -v gz="$gzipTime" \
    -v peak="$peak" -v bytes="$bytes" 'BEGIN {
  save = ls - lp
  printf "volume: %.1f MiB of uint16, best of 3\n", bytes / 1048576
  printf "load .nii.gz: %7.1f ms   zcat:   %7.1f ms   ratio %.2f (goal <= 1.15)\n", lg / 1e3, zc / 1e3, lg / zc
  printf "save .nii.gz: %7.1f ms   gzip -6: %6.1f ms   ratio %.2f (goal <= 1.15; load+save minus load)\n", save / 1e3, gz / 1e3, save / gz
  printf "load .nii:    %7.1f ms   cat:    %7.1f ms   ratio to 3 x cat + 50 ms: %.2f (goal <= 1)\n", lp / 1e3, ct / 1e3, lp / (3 * ct + 50000)
  printf "peak memory of load + save: %.1f MiB = volume + %.1f MiB (goal <= volume + 24)\n", peak / 1024, peak / 1024 - bytes / 1048576
}'
