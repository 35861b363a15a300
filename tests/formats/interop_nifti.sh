#!/usr/bin/env bash
# interop_nifti.sh <corvane>: NIfTI-1 and Analyze files against nifti_tool
# (Debian package nifti-bin). Files corvane writes, of every field kind and in
# the .nii, .hdr/.img and .nii.gz forms, must pass nifti_tool's header and
# image checks and hold the header fields and voxels of the writer table;
# files made by nifti_tool (with voxel bytes put in by this script) must load
# in corvane with their sizes, geometry and values.
set -euo pipefail

if [ $# -ne 1 ]; then
  echo "usage: $0 <corvane>" >&2
  exit 2
fi
corvane=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")

# nifti_tool comes from Debian's nifti-bin; install it when it is missing.
if ! command -v nifti_tool >/dev/null 2>&1; then
  sudo=()
  [ "$(id -u)" -ne 0 ] && sudo=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${sudo[@]}" apt-get update -q >/dev/null
  "${sudo[@]}" apt-get install -y -q nifti-bin >/dev/null
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/corvane-interop-nifti-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

failures=0
checks=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}
# expect <what> <expected> <actual>
expect() {
  checks=$((checks + 1))
  [ "$2" == "$3" ] || fail "$1: expected [$2], got [$3]"
}

# run <name>: runs <name>.macro with corvane; its log becomes <name>.log.
run() {
  checks=$((checks + 1))
  rm -f corvane.log
  if ! "$corvane" -strict +log -macro="$1.macro" </dev/null >"$1.out" 2>&1; then
    fail "$1: corvane ended with an error"
    cat "$1.out"
  fi
  if [ -f corvane.log ]; then
    mv corvane.log "$1.log"
  else
    fail "$1: corvane wrote no log"
    : >"$1.log"
  fi
}

# logged <name> <line>: the log of run <name> holds that exact line.
logged() {
  checks=$((checks + 1))
  grep -qxF -- "$2" "$1.log" || fail "$1: no line [$2] in the log"
}

# fields <file>: reads the header display of nifti_tool for field.
declare -A shown=()
fields() {
  local name offset count values
  shown["$1"]=1
  while read -r name offset count values; do
    shown["$1|$name"]=$values
  done < <(nifti_tool -disp_hdr -infiles "$1" 2>/dev/null)
}

# field <file> <name>: a header field as nifti_tool shows it, values joined by
# one blank; from what fields read, or read now.
field() {
  [ -n "${shown[$1]:-}" ] || fields "$1"
  echo "${shown["$1|$2"]:-}"
}

# has <file> <name> <expected>: a header field after fields <file>, without a subshell.
has() { expect "$1 $2" "$3" "${shown["$1|$2"]:-}"; }

# good <file>: nifti_tool accepts header and image.
good() {
  local out
  out=$(nifti_tool -check_hdr -check_nim -infiles "$1" 2>&1) || true
  checks=$((checks + 1))
  if [[ $out != *"header IS GOOD"* || $out != *"nifti_image IS GOOD"* ]]; then
    fail "$1: nifti_tool does not accept the file: $out"
  fi
}

# data <file>: the voxel bytes of a .nii, .nii.gz or of the .img beside a .hdr.
data() {
  case $1 in
    *.nii.gz) gzip -dc "$1" | tail -c +353 ;;
    *.nii) tail -c +353 "$1" ;;
    *.hdr) cat "${1%.hdr}.img" ;;
  esac
}

# words <od type>: standard input as od words, one blank between them.
words() {
  local all
  all=$(od -An -v -t "$1")
  set -f
  all=($all)
  set +f
  echo "${all[*]}"
}

# repeat <count> <word>: the word count times, one blank between them.
repeat() {
  local out=() i
  for ((i = 0; i < $1; i++)); do out+=("$2"); done
  echo "${out[*]}"
}

# voxels <file>: the voxels as nifti_tool reads them.
voxels() {
  { nifti_tool -disp_ci -1 -1 -1 -1 -1 -1 -1 -infiles "$1" 2>/dev/null || true; } | awk 'END { sub(/ +$/, ""); print }'
}

size_of() { stat -c %s "$1"; }

# ---------------------------------------------------------------------------
# 1. Every kind written in the three forms.
# The matrix has the columns (0, 1.5, 0), (-2, 0, 0), (0, 3, 4), so the
# column lengths are 1.5, 2 and 5; the offset is (10, -20, 30.25).
# ---------------------------------------------------------------------------
geometry='matrix <0, 1.5, 0> <-2, 0, 0> <0, 3, 4>
offset <10, -20, 30.25>'
{
  echo "scalar.8bit"
  echo "scalar.use gray"
  echo "scalar.background 7"
  echo "scalar.new <4, 3, 2>"
  sed 's/^/scalar./' <<<"$geometry"
  for form in nii hdr nii.gz; do echo "scalar.save \"gray.$form\""; done
  echo "scalar.16bit"
  echo "scalar.use full"
  echo "scalar.background 1234"
  echo "scalar.new <4, 3, 2>"
  sed 's/^/scalar./' <<<"$geometry"
  for form in nii hdr nii.gz; do echo "scalar.save \"full.$form\""; done
  echo "scalar.1bit"
  echo "scalar.use mono"
  echo "scalar.background 1"
  echo "scalar.new <5, 3, 2>"
  sed 's/^/scalar./' <<<"$geometry"
  for form in nii hdr nii.gz; do echo "scalar.save \"mono.$form\""; done
  for kind in rgb float nat; do
    echo "vector.$kind"
    echo "vector.use v$kind"
    echo "vector.new <4, 3, 2>"
    sed 's/^/vector./' <<<"$geometry"
    for form in nii hdr nii.gz; do echo "vector.save \"v$kind.$form\""; done
  done
  for kind in float nat; do
    echo "tensor.$kind"
    echo "tensor.use t$kind"
    echo "tensor.new <4, 3, 2>"
    sed 's/^/tensor./' <<<"$geometry"
    for form in nii hdr nii.gz; do echo "tensor.save \"t$kind.$form\""; done
  done
} >write.macro
run write

# name datatype bitpix dim intent_code intent_p1 data-bytes
kinds='gray 2 8 3_4_3_2_0_0_0_0 0 0.0 24
full 512 16 3_4_3_2_0_0_0_0 0 0.0 48
mono 1 1 3_5_3_2_0_0_0_0 0 0.0 3
vrgb 128 24 3_4_3_2_0_0_0_0 0 0.0 72
vfloat 64 64 5_4_3_2_1_3_0_0 1007 0.0 576
vnat 1024 64 5_4_3_2_1_3_0_0 1007 0.0 576
tfloat 64 64 5_4_3_2_1_6_0_0 1005 3.0 1152
tnat 1024 64 5_4_3_2_1_6_0_0 1005 3.0 1152'

while read -r name datatype bitpix dim intent p1 bytes; do
  dim=${dim//_/ }
  for form in nii hdr nii.gz; do
    f=$name.$form
    if [ ! -f "$f" ]; then
      checks=$((checks + 1))
      fail "$f was not written"
      continue
    fi
    fields "$f"
    # Datatype 1 (bits) is not one nifti_tool accepts; that is how mono is written.
    [ "$name" != mono ] && good "$f"
    has "$f" sizeof_hdr 348
    has "$f" datatype "$datatype"
    has "$f" bitpix "$bitpix"
    has "$f" dim "$dim"
    has "$f" regular r
    has "$f" dim_info 0
    has "$f" session_error 0
    has "$f" intent_p2 0.0
    has "$f" intent_p3 0.0
    has "$f" slice_start 0
    has "$f" slice_end 0
    has "$f" slice_code 1
    has "$f" xyzt_units 10
    has "$f" scl_slope 1.0
    has "$f" scl_inter 0.0
    has "$f" cal_max 0.0
    has "$f" cal_min 0.0
    has "$f" slice_duration 0.0
    has "$f" toffset 0.0
    has "$f" qform_code 1
    has "$f" sform_code 1
    has "$f" pixdim "1.0 1.5 2.0 5.0 0.0 0.0 0.0 0.0"
    has "$f" srow_x "0.0 -2.0 0.0 10.0"
    has "$f" srow_y "1.5 0.0 3.0 -20.0"
    has "$f" srow_z "0.0 0.0 4.0 30.25"
    # a = 0.5 * sqrt(|0 * 0 * 4 + 1|) = 0.5; b = (0 - 3) / 2, c = 0, d = (1.5 + 2) / 2.
    has "$f" quatern_b -1.5
    has "$f" quatern_c 0.0
    has "$f" quatern_d 1.75
    has "$f" qoffset_x 10.0
    has "$f" qoffset_y -20.0
    has "$f" qoffset_z 30.25
    has "$f" intent_name ""
    has "$f" aux_file ""
    if [ "$form" == hdr ]; then
      has "$f" vox_offset 0.0
      has "$f" magic ni1
      expect "$f size" 348 "$(size_of "$f")"
      expect "${f%.hdr}.img size" "$bytes" "$(size_of "${f%.hdr}.img")"
    else
      has "$f" vox_offset 352.0
      has "$f" magic n+1
      if [ "$form" == nii ]; then
        expect "$f size" $((352 + bytes)) "$(size_of "$f")"
        expect "$f empty extension flag" "00 00 00 00" "$(head -c 352 "$f" | tail -c 4 | words x1)"
      else
        expect "$f unpacked size" $((352 + bytes)) "$(gzip -dc "$f" | wc -c)"
      fi
    fi
    # Fields that vector and tensor fields of three or six volumes set, and
    # scalar fields leave zero.
    case $name in
      v[fn]* | t*)
        has "$f" intent_code "$intent"
        has "$f" intent_p1 "$p1"
        has "$f" extents 16384
        has "$f" glmax 2147483647
        has "$f" glmin -2147483648
        has "$f" descrip corvane
        ;;
      gray | full | mono)
        has "$f" intent_code 0
        has "$f" intent_p1 0.0
        has "$f" extents 0
        has "$f" glmax 0
        has "$f" glmin 0
        has "$f" descrip ""
        ;;
    esac
  done
done <<<"$kinds"

# Voxels: gray 7 and fullgray 1234 everywhere (little-endian), mono all set
# (30 bits, so 3 whole bytes; the last 6 bits are not written), the new
# vector and tensor fields zero.
for form in nii hdr nii.gz; do
  expect "gray.$form voxels" "$(repeat 24 7)" "$(voxels "gray.$form")"
  expect "gray.$form bytes" "$(repeat 24 07)" "$(data "gray.$form" | words x1)"
  expect "full.$form voxels" "$(repeat 24 1234)" "$(voxels "full.$form")"
  expect "full.$form bytes" "$(repeat 24 'd2 04')" "$(data "full.$form" | words x1)"
  expect "mono.$form bytes" "ff ff ff" "$(data "mono.$form" | words x1)"
  expect "vrgb.$form bytes" "$(repeat 72 00)" "$(data "vrgb.$form" | words x1)"
  for name in vfloat vnat; do
    expect "$name.$form voxels" "$(repeat 72 "$([ $name == vfloat ] && echo 0.0 || echo 0)")" "$(voxels "$name.$form")"
  done
  for name in tfloat tnat; do
    expect "$name.$form voxels" "$(repeat 144 "$([ $name == tfloat ] && echo 0.0 || echo 0)")" "$(voxels "$name.$form")"
  done
done

# ---------------------------------------------------------------------------
# 2. Files made by nifti_tool, with voxel bytes written here, loaded by corvane.
# ---------------------------------------------------------------------------

# dataset <file> <datatype> <dim0..dim7> [<voxel bytes as printf text>]: a
# one-file or pair dataset from nifti_tool, its zero voxels replaced when bytes
# are given.
dataset() {
  local file=$1 datatype=$2
  nifti_tool -make_im -prefix "$file" -new_dim $3 $4 $5 $6 $7 $8 $9 ${10} -new_datatype "$datatype" >/dev/null 2>&1
  [ $# -ge 11 ] || return 0
  local bytes=${11}
  case $file in
    *.nii)
      head -c 352 "$file" >"$file.head"
      { cat "$file.head"; printf "$bytes"; } >"$file"
      rm -f "$file.head"
      ;;
    *.hdr) printf "$bytes" >"${file%.hdr}.img" ;;
  esac
}

# mod <file> <field> <value> ...: header fields changed in place by nifti_tool.
mod() {
  local file=$1 arguments=()
  shift
  while [ $# -gt 0 ]; do
    arguments+=(-mod_field "$1" "$2")
    shift 2
  done
  nifti_tool -mod_hdr "${arguments[@]}" -overwrite -infiles "$file" >/dev/null 2>&1
}

# int16 4000, -100, 30000, -32768
dataset i16.nii 4 3 2 2 1 0 0 0 0 '\xa0\x0f\x9c\xff\x30\x75\x00\x80'
# uint8 RGB of 4 x 2 voxels
dataset rgb.nii 128 3 4 2 1 0 0 0 0 '\x0a\x14\x1e\xff\xff\xff\x01\x02\x03\x00\x00\x00\x64\x64\x64\x00\x00\x01\x02\x02\x02\x50\x00\x00'
# uint64: all 8 voxels above 2^63 - 1
dataset u64.nii 1280 3 4 2 1 0 0 0 0 "$(repeat 8 '\x05\x00\x00\x00\x00\x00\x00\x80' | tr -d ' ')"
# float32 -1, 0, 2, 3 and four times -1
dataset f32.nii 16 3 4 2 1 0 0 0 0 '\x00\x00\x80\xbf\x00\x00\x00\x00\x00\x00\x00\x40\x00\x00\x40\x40\x00\x00\x80\xbf\x00\x00\x80\xbf\x00\x00\x80\xbf\x00\x00\x80\xbf'
cp f32.nii f32own.nii
mod f32own.nii cal_min 0 cal_max 2
# float32 2.5, 3.5, 0.5, 1.5: ties of the rounding go to even
dataset ties.nii 16 3 2 2 1 0 0 0 0 '\x00\x00\x20\x40\x00\x00\x60\x40\x00\x00\x00\x3f\x00\x00\xc0\x3f'
# float64 vector 2 x 1 x 1: x 1, 2; y 3, 4; z 5, 6
dataset vec.nii 64 5 2 1 1 1 3 0 0 '\x00\x00\x00\x00\x00\x00\xf0\x3f\x00\x00\x00\x00\x00\x00\x00\x40\x00\x00\x00\x00\x00\x00\x08\x40\x00\x00\x00\x00\x00\x00\x10\x40\x00\x00\x00\x00\x00\x00\x14\x40\x00\x00\x00\x00\x00\x00\x18\x40'
# int16 vector 2 x 2 x 2, three volumes of 1..8, -1..-8, 100..107
v16=''
for value in 1 2 3 4 5 6 7 8 -1 -2 -3 -4 -5 -6 -7 -8 100 101 102 103 104 105 106 107; do
  printf -v v16 '%s\\x%02x\\x%02x' "$v16" $((value & 255)) $(((value >> 8) & 255))
done
dataset vec16.nii 4 5 2 2 2 1 3 0 0 "$v16"
# float64 tensor 2 x 1 x 1: six volumes xx, xy, yy, xz, yz, zz holding 1 .. 12
t64=''
for value in 4607182418800017408 4611686018427387904 4613937818241073152 4616189618054758400 \
  4617315517961601024 4618441417868443648 4619567317775286272 4620693217682128896 \
  4621256167635550208 4621819117588971520 4622382067542392832 4622945017495814144; do
  for ((shift = 0; shift < 64; shift += 8)); do printf -v t64 '%s\\x%02x' "$t64" $(((value >> shift) & 255)); done
done
dataset ten.nii 64 5 2 1 1 1 6 0 0 "$t64"
# big-endian int16 4000, -100, 30000, 1 in a pair
dataset big.hdr 4 3 2 2 1 0 0 0 0
nifti_tool -swap_as_nifti -overwrite -infiles big.hdr >/dev/null 2>&1
printf '\x0f\xa0\xff\x9c\x75\x30\x00\x01' >big.img
# and in a one-file gzip form
dataset bigone.nii 4 3 2 2 1 0 0 0 0
nifti_tool -swap_as_nifti -overwrite -infiles bigone.nii >/dev/null 2>&1
{ head -c 352 bigone.nii; cat big.img; } >bigone.tmp
gzip -c bigone.tmp >bigone.nii.gz
# gzip pair and a gzip one-file form of the int16 volume
dataset pair.hdr 4 3 2 2 1 0 0 0 0 '\xa0\x0f\x9c\xff\x30\x75\x01\x00'
gzip -k pair.hdr pair.img
gzip -c i16.nii >i16.nii.gz
# uint16 with scl_slope 2: the voxels stay as stored
dataset slope.nii 512 3 2 2 1 0 0 0 0 '\x01\x00\x02\x00\x03\x00\xff\xff'
mod slope.nii scl_slope 2
# int16 2 x 2 x 2 in three stacks holding 1..8, 11..18, 21..28
s16=''
for value in 1 2 3 4 5 6 7 8 11 12 13 14 15 16 17 18 21 22 23 24 25 26 27 28; do
  printf -v s16 '%s\\x%02x\\x00' "$s16" "$value"
done
dataset stacks.nii 4 4 2 2 2 3 0 0 0 "$s16"
# a 1 x 64 x 64 x 10 series
dataset series.nii 4 4 1 64 64 10 0 0 0
# vox_offset 0 in a one-file dataset: the voxels still start at 352
cp slope.nii voxzero.nii
mod voxzero.nii scl_slope 1 vox_offset 0
# random voxels: uint8 130 x 128 x 64, more than one write block; int16
# vector and tensor volumes of 20 x 20 x 10, more than one value buffer
random() { { head -c 352 "$1"; head -c "$2" /dev/urandom; } >"$1.tmp" && mv "$1.tmp" "$1"; }
dataset random8.nii 2 3 130 128 64 0 0 0 0
random random8.nii $((130 * 128 * 64))
dataset random3.nii 4 5 20 20 10 1 3 0 0
random random3.nii $((20 * 20 * 10 * 3 * 2))
dataset random6.nii 4 5 20 20 10 1 6 0 0
random random6.nii $((20 * 20 * 10 * 6 * 2))
# rgb in two stacks
rgbs=''
for ((value = 0; value < 48; value++)); do printf -v rgbs '%s\\x%02x' "$rgbs" $((value * 5)); done
dataset rgbstacks.nii 128 4 2 2 2 2 0 0 0 "$rgbs"
# geometry: sform, qform with pixdim, plain pixdim
dataset sform.nii 2 3 2 2 2 0 0 0 0 '\x00\x01\x02\x03\x04\x05\x06\x07'
mod sform.nii sform_code 1 srow_x '0.5 0 0.25 -10' srow_y '0 2 0 20' srow_z '0 -1 3 30.5'
dataset qform.nii 2 3 2 2 2 0 0 0 0 '\x00\x01\x02\x03\x04\x05\x06\x07'
mod qform.nii qform_code 1 quatern_b 0 quatern_c 0 quatern_d 1 pixdim '1 2 3 4 0 0 0 0' qoffset_x 5 qoffset_y 6 qoffset_z 7
dataset pixdim.hdr 2 3 2 2 2 0 0 0 0 '\x00\x01\x02\x03\x04\x05\x06\x07'
mod pixdim.hdr pixdim '1 0.5 0.25 4 0 0 0 0'

cat >read.macro <<'EOF'
scalar.16bit
scalar.load.filter 12000 -2
scalar.load "i16.nii"
scalar.save "filter.nii"
scalar.load.nii.gz "i16.nii.gz"
scalar.save "filtergz.nii"
scalar.load.filter
scalar.8bit
scalar.load "i16.nii"
scalar.save "i16gray.nii"
scalar.16bit
scalar.load "big.hdr"
scalar.save "big.nii"
scalar.load "bigone.nii.gz"
scalar.save "bigone2.nii"
scalar.load "pair.img.gz"
scalar.save "pairgz.nii"
scalar.load "slope.nii"
scalar.save "slope2.nii"
scalar.load "voxzero.nii"
scalar.save "voxzero2.nii"
scalar.load "rgb.nii"
scalar.save "rgbfull.nii"
scalar.8bit
scalar.load "rgb.nii"
scalar.save "rgbgray.nii"
scalar.1bit
scalar.load "rgb.nii"
scalar.save "rgbmono.nii"
scalar.load "u64.nii"
scalar.save "u64mono.nii"
scalar.load.filter 1
scalar.load "u64.nii"
scalar.save "u64monofilter.nii"
scalar.load.filter 0 1
scalar.8bit
scalar.load "f32.nii"
scalar.save "f32fixed.nii"
scalar.load "ties.nii"
scalar.save "ties2.nii"
scalar.load.filter
scalar.load "f32.nii"
scalar.save "f32gray.nii"
scalar.16bit
scalar.load "f32.nii"
scalar.save "f32full.nii"
scalar.8bit
scalar.load "f32own.nii"
scalar.save "f32own2.nii"
scalar.8bit
scalar.load.scale <2, 2, 1>
scalar.load "rgb.nii"
scalar.save "scaled.nii"
scalar.load.scale
vector.float
vector.load "rgb.nii"
vector.save "rgb2.nii"
vector.load "vec.nii"
vector.save "vec2.nii"
vector.save "vecscaled.nii" <2, 3, 4>
vector.load "vec16.nii"
vector.save "vec16float.nii"
vector.nat
vector.use n
vector.load "vec16.nii"
vector.save "vec16nat.nii"
tensor.load "ten.nii"
tensor.save "ten2.nii"
tensor.save "ten2.nii.gz"
tensor.nat
tensor.use n
tensor.load "ten.nii"
tensor.save "ten64.nii"
tensor.load "random6.nii"
tensor.save "random6b.nii.gz"
vector.load "random3.nii"
vector.save "random3b.hdr"
vector.load.nii "rgbstacks.nii" 2
vector.save "rgbstack2.nii"
scalar.8bit
scalar.load "random8.nii"
scalar.save "random8b.nii"
scalar.save "random8c.nii.gz"
scalar.16bit
scalar.load.nii "stacks.nii" -1
scalar.save "stack3.nii"
scalar.load.nii "stacks.nii" 0
scalar.save "stack1.nii"
scalar.loadnii "stacks.nii" 2
scalar.save "stack2.nii"
scalar.load "series.nii"
print "series " scalar.size
scalar.load "sform.nii"
scalar.load "qform.nii"
scalar.load "pixdim.img"
EOF
run read

# The load filter: (v + 12000) / 2, clamped to 0..65535.
expect "int16 with add 12000, factor -2" "8000 5950 21000 0" "$(data filter.nii | words u2)"
expect "gzip int16 with add 12000, factor -2" "8000 5950 21000 0" "$(data filtergz.nii | words u2)"
expect "int16 into gray, clamped" "255 0 255 0" "$(data i16gray.nii | words u1)"
expect "big-endian int16 pair" "4000 0 30000 1" "$(data big.nii | words u2)"
expect "big-endian int16 gzip" "4000 0 30000 1" "$(data bigone2.nii | words u2)"
expect "big-endian sizeof_hdr" "00 00 01 5c" "$(head -c 4 bigone.tmp | words x1)"
expect "gzip pair" "4000 0 30000 1" "$(data pairgz.nii | words u2)"
expect "scl_slope 2 is not applied" "1 2 3 65535" "$(data slope2.nii | words u2)"
expect "vox_offset 0 reads from 352" "1 2 3 65535" "$(data voxzero2.nii | words u2)"
# RGB: fullgray holds the channel sums, gray their mean, mono nothing.
expect "rgb into fullgray" "60 765 6 0 300 1 6 80" "$(data rgbfull.nii | words u2)"
expect "rgb into gray" "20 255 2 0 100 0 2 26" "$(data rgbgray.nii | words u1)"
expect "rgb into mono" "00" "$(data rgbmono.nii | words x1)"
# uint64 into mono: above 2^63 - 1 sets a voxel, with any filter never.
expect "uint64 into mono" "ff" "$(data u64mono.nii | words x1)"
expect "uint64 into mono with a filter" "00" "$(data u64monofilter.nii | words x1)"
# Float paths: fixed f(v) = v clamped and rounded (ties to even), automatic
# map of -1..3 onto 0..255 and 0..65535, own range 0..2 onto 0..255.
expect "float32 fixed path" "0 0 2 3 0 0 0 0" "$(data f32fixed.nii | words u1)"
expect "float32 fixed path ties" "2 4 0 2" "$(data ties2.nii | words u1)"
expect "float32 automatic into gray" "0 64 191 255 0 0 0 0" "$(data f32gray.nii | words u1)"
expect "float32 automatic into fullgray" "0 16384 49151 65535 0 0 0 0" "$(data f32full.nii | words u2)"
expect "float32 own range into gray" "0 0 255 255 0 0 0 0" "$(data f32own2.nii | words u1)"
logged read "  New min (-1) max (3) values -> 0..255!"
logged read "  New min (-1) max (3) values -> 0..65535!"
logged read "  New min (0) max (2) values -> 0..255!"
# Load scale 2, 2, 1 on the gray RGB means 20 255 2 0 / 100 0 2 26: each
# target voxel adds v / 4 of its four sources, kept to 8 bits.
expect "load scale on gray" "$(((20 / 4 + 255 / 4 + 100 / 4 + 0 / 4) & 255)) $(((2 / 4 + 0 / 4 + 2 / 4 + 26 / 4) & 255))" \
  "$(data scaled.nii | words u1)"
# RGB into an rgb vector field and back: the same bytes.
expect "rgb vector round trip" "$(data rgb.nii | words x1)" "$(data rgb2.nii | words x1)"
expect "rgb vector datatype" 128 "$(field rgb2.nii datatype)"
# Vectors: the same volumes back, or scaled by 2, 3, 4 per component.
expect "float64 vector round trip" "$(data vec.nii | words x1)" "$(data vec2.nii | words x1)"
expect "float64 vector scaled" "2.0 4.0 9.0 12.0 20.0 24.0" "$(voxels vecscaled.nii)"
expect "int16 vector into float" "1.0 2.0 3.0 4.0 5.0 6.0 7.0 8.0 -1.0 -2.0 -3.0 -4.0 -5.0 -6.0 -7.0 -8.0 100.0 101.0 102.0 103.0 104.0 105.0 106.0 107.0" \
  "$(voxels vec16float.nii)"
expect "int16 vector into nat" "1 2 3 4 5 6 7 8 -1 -2 -3 -4 -5 -6 -7 -8 100 101 102 103 104 105 106 107" \
  "$(voxels vec16nat.nii)"
# Tensors are written in the order they are read: xx, xy, yy, xz, yz, zz.
expect "float64 tensor round trip" "$(data ten.nii | words x1)" "$(data ten2.nii | words x1)"
expect "float64 tensor gzip round trip" "$(data ten.nii | words x1)" "$(data ten2.nii.gz | words x1)"
expect "float64 tensor into nat" "1 2 3 4 5 6 7 8 9 10 11 12" "$(voxels ten64.nii)"
good ten2.nii
good vecscaled.nii
# Larger volumes through the write blocks and value buffers.
cmp -s <(data random8.nii) <(data random8b.nii) || fail "uint8 volume of 1 MiB: the saved voxels differ"
cmp -s <(data random8.nii) <(data random8c.nii.gz) || fail "uint8 volume of 1 MiB: the gzip voxels differ"
checks=$((checks + 2))
expect "int16 vector volumes into nat" "$(voxels random3.nii)" "$(voxels random3b.hdr)"
expect "int16 tensor volumes into nat" "$(voxels random6.nii)" "$(voxels random6b.nii.gz)"
expect "rgb stack 2" "$(data rgbstacks.nii | tail -c 24 | words x1)" "$(data rgbstack2.nii | words x1)"
# Stacks: -1 is the last, 0 the first.
expect "stack -1" "21 22 23 24 25 26 27 28" "$(data stack3.nii | words u2)"
expect "stack 0" "1 2 3 4 5 6 7 8" "$(data stack1.nii | words u2)"
expect "stack 2" "11 12 13 14 15 16 17 18" "$(data stack2.nii | words u2)"
# Sizes and geometry.
logged read "series <64, 64, 10>"
logged read "  Transformation: (<0.5, 0, 0>;<0, 2, -1>;<0.25, 0, 3>) + <-10, 20, 30.5>"
logged read "  Transformation: (<-2, 0, 0>;<0, -3, 0>;<0, 0, 4>) + <5, 6, 7>"
logged read "  Transformation: (<0.5, 0, 0>;<0, 0.25, 0>;<0, 0, 4>) + <0, 0, 0>"

if [ "$failures" -ne 0 ]; then
  echo "$failures of $checks checks failed"
  exit 1
fi
echo "all $checks checks passed"
