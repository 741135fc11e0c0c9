#!/usr/bin/env bash
# A short run of the demo on the default clip: ffmpeg decodes its AVI with every frame
# whole at 720x576, and the round-trip PSNR the demo reports per plane agrees within
# 0.1 dB with ffmpeg's psnr filter on ffmpeg's own decoding of the same frames. Both
# figures are the same kind of average: PSNR of the frames' mean squared error.
#   demo_test.sh RUN_SCRIPT PREFIX BIN_DIR WORK_DIR
set -euo pipefail
run=$1 prefix=$2 bin=$3 work=$4
frames=6 width=720 height=576
rm -rf "$work" && mkdir -p "$work"

DEMO_FRAMES=$frames "$run" "$prefix" "$bin" "$work" "$work" >"$work/demo.log" 2>&1 ||
  { cat "$work/demo.log"; echo "FAIL: the demo failed" >&2; exit 1; }
cat "$work/demo.log"

# Frames with their decoded size: half-height pictures would mean single fields.
whole=$(ffmpeg -v error -c:v mjpeg -i "$work/demo.avi" -pix_fmt yuvj422p -f framemd5 - |
  awk -F', *' -v bytes=$((width * height * 2)) '/^0,/ && $5 == bytes { n++ } END { print n + 0 }')
[ "$whole" = "$frames" ] || { echo "FAIL: ffmpeg decoded $whole whole frames of $frames" >&2; exit 1; }

# ffmpeg decodes to full-range planes; read back as plain yuv422p the samples stay as
# decoded, where a format conversion would rescale them.
ffmpeg -v error -y -c:v mjpeg -i "$work/demo.avi" -pix_fmt yuvj422p -f rawvideo "$work/decoded.yuv"
ffmpeg -hide_banner -f rawvideo -pix_fmt yuyv422 -s ${width}x$height -i "$work/source.yuy2" \
  -f rawvideo -pix_fmt yuv422p -s ${width}x$height -i "$work/decoded.yuv" \
  -lavfi "[0]format=yuv422p[source];[source][1]psnr" -f null - >"$work/psnr.log" 2>&1
ffmpeg_psnr=$(sed -n 's/.*PSNR y:\([0-9.]*\) u:\([0-9.]*\) v:\([0-9.]*\).*/\1 \2 \3/p' "$work/psnr.log")
demo_psnr=$(sed -n 's/^round-trip PSNR *Y \([0-9.]*\) dB *Cb \([0-9.]*\) dB *Cr \([0-9.]*\) dB.*/\1 \2 \3/p' "$work/demo.log")
echo "PSNR Y Cb Cr: demo $demo_psnr, ffmpeg $ffmpeg_psnr"
awk -v demo="$demo_psnr" -v ffmpeg="$ffmpeg_psnr" 'BEGIN {
  if (split(demo, d, " ") != 3 || split(ffmpeg, f, " ") != 3) exit 1
  for (i = 1; i <= 3; i++) if (d[i] - f[i] > 0.1 || f[i] - d[i] > 0.1) exit 1
}' || { echo "FAIL: the PSNR figures differ" >&2; exit 1; }
echo "all done: every test passed"
