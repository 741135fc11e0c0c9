#!/usr/bin/env bash
# An AVI that a Windows program wrote through the TRVX codec plays in ffmpeg's M-JPEG
# decoder, every frame at the full frame height.
# Arguments: the command that runs the writer tool under Wine, then the AVI's path.
set -euo pipefail
avi=${*: -1}
writer=("${@:1:$#-1}")
frames=12

"${writer[@]}" "Z:$avi" "$frames" | grep -q 'avi written' || { echo "FAIL: the AVI was not written" >&2; exit 1; }
size=$(ffprobe -v error -select_streams v:0 -show_entries stream=width,height -of csv=p=0 "$avi")
[ "$size" = "720,576" ] || { echo "FAIL: stream size $size" >&2; exit 1; }
decoded=$(ffmpeg -v error -c:v mjpeg -i "$avi" -f framemd5 - | grep -c '^0,' || true)
[ "$decoded" = "$frames" ] || { echo "FAIL: ffmpeg decoded $decoded of $frames frames" >&2; exit 1; }
# Whole frames, not single fields: each decoded picture holds 720 x 576 pixels.
bytes=$(ffmpeg -v error -c:v mjpeg -i "$avi" -frames:v 1 -pix_fmt yuv422p -f rawvideo - | wc -c)
[ "$bytes" = "$((720 * 576 * 2))" ] || { echo "FAIL: first frame has $bytes bytes" >&2; exit 1; }
echo "all done: every test passed"
