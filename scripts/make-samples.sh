#!/usr/bin/env bash
# Makes the bundled samples in samples/: small pictures in nested folders (PNG, JPEG, BMP and
# TGA drawn with GraphicsMagick's gm; EXR and HDR written by our own handlers) and the sample
# clip. There is no PSD: our GraphicsMagick build has no PSD coder, and the importer reads
# PSD files through GraphicsMagick. The results are committed; run this only to change them. NOX_BUILD names
# another build folder than build/.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
gm_prefix=$(bash "$top/scripts/setup.sh")
build=${NOX_BUILD:-$top/build}
cmake -S "$top" -B "$build" -DNOX_GM_PREFIX="$gm_prefix" -DNOX_WERROR=ON >/dev/null
cmake --build "$build" --target make_samples -j"$(nproc)" >/dev/null
gm="$gm_prefix/bin/gm"
out="$top/samples"
pictures="$out/pictures"
rm -rf "$pictures"
mkdir -p "$pictures/outdoors" "$pictures/graphics"
"$build/tools/make_samples" "$out"

size=64x48
"$gm" convert -size $size gradient:'#ff9a3c-#5b2a86' -fill '#ffe8a3' -draw 'circle 40,30 40,21' \
  -fill '#1d1d3a' -draw 'rectangle 0,38 63,47' "$pictures/outdoors/sunset.png"
"$gm" convert -size $size gradient:'#bfe6ff-#2f7d32' -fill '#1b4d1f' \
  -draw 'polygon 10,40 18,12 26,40' -draw 'polygon 30,42 40,8 50,42' -quality 85 \
  "$pictures/outdoors/forest.jpg"
"$gm" convert -size 8x8 pattern:checkerboard -fill '#3a86ff' -opaque white -scale $size \
  "$pictures/graphics/tiles.bmp"
"$gm" convert -size $size xc:none -fill '#e63946' -draw 'circle 32,24 32,6' -fill white \
  -draw 'rectangle 22,21 42,27' -compress RLE "$pictures/graphics/badge.tga"
ls -lR "$out"
