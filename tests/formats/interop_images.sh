#!/usr/bin/env bash
# interop_images.sh <corvane>: images written by corvane open in other
# programs with the same pixels. Sources with random pixels are made with
# Pillow, loaded by corvane and saved in every format it writes; then
# pngcheck, tiffinfo, netpbm and Pillow read the results back. 16-bit PGM
# is left out on purpose: its samples are written little-endian.
set -euo pipefail
program=$(realpath "$1")
root=$(cd "$(dirname "$0")/../.." && pwd)
python=/usr/bin/python3

# The tools come from Debian; without them (no network, no rights) the
# case is skipped, not passed.
if ! "$root/scripts/deps.sh" pngcheck netpbm libtiff-tools python3-pil >/dev/null 2>&1 ||
   ! "$python" -c "import PIL" 2>/dev/null; then
  echo "interop tools missing and not installable: skipped"
  exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/corvane-interop-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

"$python" - <<'EOF'
import random, struct
from PIL import Image
random.seed(9)
def noise(count): return bytes(random.randrange(256) for _ in range(count))
w, h = 37, 23
Image.frombytes("RGB", (w, h), noise(w * h * 3)).save("src.ppm")
Image.frombytes("L", (w, h), noise(w * h)).save("src.pgm")
Image.frombytes("L", (1024, 1030), noise(1024 * 1030)).save("big.pgm")
# 16-bit gray, big-endian as PGM has it.
words = [random.randrange(65536) for _ in range(w * h)]
open("src16.pgm", "wb").write(b"P5\n%d %d\n65535\n" % (w, h) + b"".join(struct.pack(">H", v) for v in words))
# The RGB file of 32 bits: header 0 0 32 0, width and height little-endian.
open("src.rgb", "wb").write(bytes([0, 0, 32, 0]) + struct.pack("<HH", w, h) + noise(w * h * 4))
EOF

cat > interop.macro <<'EOF'
debug.no
image.24bit
image.use c
image.load src.ppm
image.save c.png
image.save c.bmp
image.save c.dib
image.save c.tga
image.save c.ppm
image.save c.pnm.gz
image.save c.pam
image.save c.tif
image.save c.pgm
image.save c.rgb
image.8bit
image.use g
image.load src.pgm
image.save g.png
image.save g.tif
image.save g.pgm
image.load big.pgm
image.save big.png
image.16bit
image.use f
image.load src16.pgm
image.save f.png
image.save f.tiff
image.32bit
image.use a
image.load src.rgb
image.save a.png
image.save a.pam
EOF
"$program" -strict -macro=interop.macro </dev/null >run.txt 2>&1 || { cat run.txt; exit 1; }

for png in c.png g.png big.png f.png a.png; do
  pngcheck -q "$png" || { echo "pngcheck failed: $png"; exit 1; }
done
for tiff in c.tif g.tif f.tiff; do
  tiffinfo "$tiff" >/dev/null 2>tiffinfo.txt || { cat tiffinfo.txt; echo "tiffinfo failed: $tiff"; exit 1; }
done
# netpbm reads the BMP, TGA, PAM and PPM files back as PPM.
bmptopnm c.bmp >bmp.ppm 2>/dev/null
bmptopnm c.dib >dib.ppm 2>/dev/null
tgatoppm c.tga >tga.ppm
pamtopnm c.pam >pam.ppm
zcat c.pnm.gz >gz.ppm
pngtopnm c.png >png.ppm
pamchannel -infile=a.pam -tupletype=GRAYSCALE 3 | pamtopnm >alpha.pgm

"$python" - <<'EOF'
import struct, sys
from PIL import Image
failures = []
def same(name, image, reference):
    if image.size != reference.size or image.tobytes() != reference.tobytes():
        failures.append(name)
rgb = Image.open("src.ppm").convert("RGB")
gray = Image.open("src.pgm")
for name in ["c.png", "c.bmp", "c.dib", "c.tga", "c.ppm", "c.tif", "bmp.ppm", "dib.ppm", "tga.ppm", "pam.ppm", "gz.ppm", "png.ppm"]:
    same(name, Image.open(name).convert("RGB"), rgb)
# Colour saved as PGM: the truncated mean of the three.
mean = Image.frombytes("L", rgb.size, bytes((r + g + b) // 3 for r, g, b in rgb.getdata()))
same("c.pgm", Image.open("c.pgm"), mean)
# The RGB file: four bytes a pixel, alpha 255.
data = open("c.rgb", "rb").read()
if data[:4] != bytes([0, 0, 32, 0]) or struct.unpack("<HH", data[4:8]) != rgb.size:
    failures.append("c.rgb header")
if data[8:] != Image.open("src.ppm").convert("RGBA").tobytes():
    failures.append("c.rgb pixels")
for name in ["g.png", "g.tif", "g.pgm"]:
    same(name, Image.open(name), gray)
same("big.png", Image.open("big.png"), Image.open("big.pgm"))
# 16 bits: PNG big-endian, TIFF little-endian; both must give the source values.
w, h = 37, 23
words = list(struct.unpack(">%dH" % (w * h), open("src16.pgm", "rb").read()[-2 * w * h:]))
for name in ["f.png", "f.tiff"]:
    image = Image.open(name)
    if image.size != (w, h) or list(image.getdata()) != words:
        failures.append(name)
# rgba keeps its alpha through PNG and PAM.
source = open("src.rgb", "rb").read()[8:]
rgba = Image.frombytes("RGBA", (w, h), source)
same("a.png", Image.open("a.png"), rgba)
if Image.open("alpha.pgm").tobytes() != source[3::4]:
    failures.append("a.pam alpha")
if failures:
    print("pixels differ:", ", ".join(failures))
    sys.exit(1)
print("all pixels equal")
EOF
